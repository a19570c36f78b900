// The fixed places inside the sandbox. The launcher makes them; guard, recorder, tests and rehearsal use
// them.
#pragma once

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "contract/places.h"
#include "contract/shutdown_actions.h"

namespace volad_dev::layout {

// The one writable directory, a job's too.
inline constexpr const char* kScratch = "/scratch";
// The environment variable that tells a job where that is.
inline constexpr const char* kScratchVariable = "VOLAD_SCRATCH";
// One JSON line for each command that the module started; appended by the recorder.
inline constexpr const char* kCommandRecord = "/scratch/command-record.jsonl";
// When there, its first line is what the maintenance tool answers, in place of the start option.
inline constexpr const char* kMaintenanceAnswer = "/scratch/maintenance";
// When there and executable, it runs in place of the maintenance tool: a hanging, failing or silent one.
inline constexpr const char* kMaintenanceScript = "/scratch/localcli";

// The launcher's marker, line by line: these namespaces as they are outside, and the identity of what stands
// in place of the commands.
inline constexpr const char* kMarker = "/run/volad-dev/marker";
inline constexpr std::array<const char*, 4> kMarkedNamespaces = {"pid", "mnt", "user", "net"};
// The machine's first ones have the same numbers everywhere, and are no sandbox's whatever a marker says.
inline constexpr std::array<std::string_view, 2> kFirstNamespaces = {"pid:[4026531836]", "user:[4026531837]"};
inline constexpr const char* kMaintenanceDefault = "/run/volad-dev/maintenance";

// Where the coverage files of a run are bound, and the variable that tells so, out here and inside.
inline constexpr const char* kCoverage = "/coverage";
inline constexpr const char* kCoverageVariable = "GCOV_PREFIX";

// Read-only: much below them is the whole machine's, and belongs to user 0.
// Why: docs/decisions/kernel-places-read-only.md
inline constexpr std::array<const char*, 2> kKernelPlaces = {"/proc", "/proc/sys"};

inline constexpr const char* kMaintenanceTool = "/usr/sbin/localcli";
// Where a search for the maintenance tool finds the stand-in.
inline constexpr std::array<std::string_view, 4> kStandInDirectories = {"/usr/sbin", "/sbin", "/usr/bin",
                                                                        "/bin"};
inline constexpr const char* kServiceManager = em::place::kServiceManager;

// The commands that end a system are the rows of the table of actions: a further action is covered by a
// recorder without a line here. "/sbin" is a link to "/usr/sbin" on every machine that is supported, so
// nothing of either is the machine's.
static_assert(std::ranges::all_of(em::kShutdownActions, [](const em::ShutdownAction& action) {
    return std::string_view(action.command).starts_with("/sbin/");
}));
inline std::string realPlaceOf(const char* command) {
    return std::string("/usr") + command;
}

} // namespace volad_dev::layout

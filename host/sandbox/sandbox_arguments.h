// The sandbox as arguments of bubblewrap: what is visible inside, what is writable, what is let through.
#pragma once

#include <string>
#include <vector>

#include "host/sandbox/private_mounts.h"
#include "host/sandbox/sandbox_options.h"
#include "host/sandbox/visible_paths.h"

namespace volad_dev {

// Descriptors that bubblewrap reads small files from; all but the filter come up at fixed places inside.
struct SandboxFiles {
    int marker;
    int maintenanceAnswer;
    int maintenanceTool;
    int filter;
};

// What "/usr/bin" holds: all of the machine's names, but for those of which there is a stand-in or none at
// all.
std::vector<BinEntry> binEntries(const SandboxOptions& options);

// standIn: what is put in place of the commands that end a system.
// environment: the caller's, of which only what is listed comes in. Throws Failure (kExitUsage) on a variable
// or a PATH that may not be set inside.
std::vector<std::string> sandboxArguments(const SandboxOptions& options, const VisiblePaths& paths,
                                          const std::string& standIn, const SandboxFiles& files,
                                          const char* const* environment);

// The stand-in for the maintenance tool, a shell script.
std::string maintenanceToolScript();
std::string maintenanceAnswer(Maintenance maintenance);

} // namespace volad_dev

// The sandbox as arguments of bubblewrap: what is visible inside, what is writable, what is let through.
#pragma once

#include <string>
#include <vector>

#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

// Descriptors that bubblewrap reads small files from; they come up at fixed places inside.
struct SandboxFiles {
    int marker;
    int maintenanceAnswer;
    int maintenanceTool;
};

// directory: the canonical directory of the tool, its recorder and the module, bound read-only.
// binNames: what "/usr/bin" holds. environment: the caller's, of which only what is listed comes in.
std::vector<std::string> sandboxArguments(const SandboxOptions& options, const std::string& directory,
                                          const std::string& recorder, const SandboxFiles& files,
                                          const std::vector<std::string>& binNames,
                                          const char* const* environment);

// The stand-in for the maintenance tool, a shell script.
std::string maintenanceToolScript();
std::string maintenanceAnswer(Maintenance maintenance);

} // namespace volad_dev

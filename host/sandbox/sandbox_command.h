// The command line of `volad-dev sandbox`.
#pragma once

#include "host/common/command.h"
#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

Command addSandboxCommand(CLI::App& app);

// What every command that makes a sandbox lets its caller choose.
void addSandboxOptions(CLI::App& app, SandboxOptions& options);

// "on", "off" and what else the tool may answer.
CLI::Option* addMaintenanceOption(CLI::App& app, Maintenance& target);

} // namespace volad_dev

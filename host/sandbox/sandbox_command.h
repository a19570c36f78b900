// The command line of `volad-dev sandbox`.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include <CLI/App.hpp>

#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

struct SandboxCommand {
    SandboxOptions options;
    std::vector<std::string> command;
};

// Adds the subcommand; what it parses lands in `target`, which must outlive the parsing.
CLI::App* addSandboxCommand(CLI::App& app, SandboxCommand& target);

// "on", "off" and what else the tool may answer.
CLI::Option* addMaintenanceOption(CLI::App& app, Maintenance& target);

} // namespace volad_dev

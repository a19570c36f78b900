// `volad-dev check`: looks over the files of an installation as the module would read them.
#pragma once

#include <string>

#include <CLI/App.hpp>

namespace volad_dev {

struct CheckCommand {
    std::string directory; // of the registry store; empty: the fixed one
    bool json = false;
};

// Adds the subcommand; what it parses lands in `target`, which must outlive the parsing.
CLI::App* addCheckCommand(CLI::App& app, CheckCommand& target);

// Returns the tool's exit code: 1 when there is something to complain about.
int runCheckCommand(const CheckCommand& command);

} // namespace volad_dev

// The command line of `volad-dev rehearse`.
#pragma once

#include <string>
#include <vector>

#include <CLI/App.hpp>

#include "host/rehearsal/rehearsal_options.h"

namespace volad_dev {

// Adds the subcommand; what it parses lands in `target`, which must outlive the parsing.
CLI::App* addRehearseCommand(CLI::App& app, RehearsalOptions& target);

// The arguments that make the tool, inside the sandbox, parse the same options again; paths must be absolute.
[[nodiscard]] std::vector<std::string> argumentsOf(const RehearsalOptions& options);

} // namespace volad_dev

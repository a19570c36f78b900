// The command line of `volad-dev rehearse`.
#pragma once

#include <string>
#include <vector>

#include "host/common/command.h"
#include "host/rehearsal/rehearsal_options.h"

namespace volad_dev {

Command addRehearseCommand(CLI::App& app);

// The arguments that make the tool, inside the sandbox, parse the same options again; paths must be absolute.
[[nodiscard]] std::vector<std::string> argumentsOf(const RehearsalOptions& options);

} // namespace volad_dev

// The command line of `volad-dev job`.
#pragma once

#include "host/common/command.h"

namespace volad_dev {

Command addJobCommand(CLI::App& app);

} // namespace volad_dev

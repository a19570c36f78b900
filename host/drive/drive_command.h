// The command line of `volad-dev drive`.
#pragma once

#include "host/common/command.h"

namespace volad_dev {

Command addDriveCommand(CLI::App& app);

} // namespace volad_dev

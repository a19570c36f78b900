// `volad-dev profile`: profile files from the command line, by the module's own two calls.
#pragma once

#include "host/common/command.h"

namespace volad_dev {

Command addProfileCommand(CLI::App& app);

} // namespace volad_dev

// `volad-dev check`: looks over the files of an installation as the module would read them.
#pragma once

#include "host/common/command.h"

namespace volad_dev {

Command addCheckCommand(CLI::App& app);

} // namespace volad_dev

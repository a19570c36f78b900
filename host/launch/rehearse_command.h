// The command line of `volad-dev rehearse`.
#pragma once

#include "host/common/command.h"

namespace volad_dev {

Command addRehearseCommand(CLI::App& app);

} // namespace volad_dev

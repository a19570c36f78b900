// `volad-dev messages`: the host's message file from the command line, found and read as the module does.
#pragma once

#include "host/common/command.h"

namespace volad_dev {

Command addMessagesCommand(CLI::App& app);

} // namespace volad_dev

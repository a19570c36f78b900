// `volad-dev registry`: works on the registry store's files with the store's own code.
#pragma once

#include "host/common/command.h"

namespace volad_dev {

Command addRegistryCommand(CLI::App& app);

} // namespace volad_dev

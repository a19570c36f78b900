// `volad-dev explain`: tells a shutdown from a trace or from a rehearsal's JSON.
#pragma once

#include "host/common/command.h"

namespace volad_dev {

[[nodiscard]] Command addExplainCommand(CLI::App& app);

} // namespace volad_dev

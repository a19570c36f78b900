// `volad-dev timeline`: draws a shutdown from a trace or from a rehearsal's JSON.
#pragma once

#include "host/common/command.h"

namespace volad_dev {

[[nodiscard]] Command addTimelineCommand(CLI::App& app);

} // namespace volad_dev

// A verb that no help shows: all verbs with their options as JSON, of which the build makes the manual page
// and the completion of the shell. Nobody else's interface: it changes with them.
#pragma once

#include "host/common/command.h"

namespace volad_dev {

// Its own tree is that of the whole tool as it stands when the verb is run.
[[nodiscard]] Command addTreeCommand(CLI::App& app);

} // namespace volad_dev

// The half of a rehearsal that stays outside: makes the sandbox, shows what happens inside, and has the last
// word on what came of it.
#pragma once

#include "host/rehearsal/rehearsal_options.h"

namespace volad_dev {

// Returns the exit code. Throws Failure.
int launchRehearsal(LaunchOptions options);

} // namespace volad_dev

// The part of a rehearsal that runs on the machine: it makes the sandbox and starts the tool anew inside.
#pragma once

#include "host/rehearsal/rehearsal_options.h"

namespace volad_dev {

// Returns the exit code; throws Failure and what the standard library throws. SIGINT and SIGTERM make the
// rehearsal stop the module and end by itself; a second one ends everything at once.
int launchRehearsal(RehearsalOptions options);

} // namespace volad_dev

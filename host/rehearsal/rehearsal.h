// The half of a rehearsal that runs inside the sandbox: loads the module, follows the request, and tells the
// launcher what happens.
#pragma once

#include "host/rehearsal/rehearsal_options.h"

namespace volad_dev {

// Returns the exit code, which the launcher only looks at when it was told of no end. Ends the process where
// the sandbox is not in force.
int runRehearsal(const RehearsalOptions& options);

} // namespace volad_dev

// The part of a rehearsal that runs inside the sandbox: it drives the real module from loading to unloading
// and watches what it does.
// See: docs/rehearsal.md
#pragma once

#include "host/rehearsal/rehearsal_options.h"

namespace volad_dev {

// Prints trace and verdict to standard output and returns the exit code. Throws std::exception when the
// module cannot be loaded or created.
int runRehearsal(const RehearsalOptions& options);

} // namespace volad_dev

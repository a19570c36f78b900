// The half of a driven run that is inside the sandbox: takes the lines as they come, and does what they say.
#pragma once

#include "host/drive/drive_options.h"

namespace volad_dev {

// Returns the exit code, which the launcher only looks at when it was told of no failure. Ends the process
// where the sandbox is not in force.
int runDriving(const DriveOptions& options);

} // namespace volad_dev

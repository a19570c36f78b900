// The half of a driven run that stays outside: reads and checks the script, and makes the sandbox for it.
#pragma once

#include "host/drive/drive_options.h"
#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

// Returns the exit code. Throws Failure for what is no matter of a line of the script.
int launchDrive(DriveOptions options, SandboxOptions sandbox);

} // namespace volad_dev

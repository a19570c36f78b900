// What the tool's exit code tells.
#pragma once

namespace volad_dev {

enum ExitCode : int {
    kExitAsAsked = 0,
    kExitOtherwise = 1,
    kExitUsage = 2,
    kExitNoSandbox = 3,
    kExitInterrupted = 130,
};

} // namespace volad_dev

// Whoever is about to load the module or to call its executor first asks the guard: the commands that it runs
// are real ones anywhere else.
// Why: docs/decisions/rehearsal-is-a-place.md
#pragma once

#include <string>

#include "host/sandbox/sandbox_mode.h"

namespace volad_dev {

// Ends the process with one line on standard error and kExitNoSandbox unless this very sandbox is in force:
// whoever belongs into the one does not run in the other.
void assertSandboxInForce(SandboxMode mode = SandboxMode::Recording);

// Why the sandbox whose files stand below `root` is not in force, empty when it is. root is "" but for the
// guard's own tests, which lay out a tree. typing: errno of a request to type into a terminal.
std::string sandboxFault(const std::string& root, int typing, SandboxMode mode = SandboxMode::Recording);

} // namespace volad_dev

// Runs a command where nothing it does can reach the machine: own namespaces made by bubblewrap, a recorder
// in place of each command that ends a system, no capability, no network, no service manager.
// See: docs/rehearsal.md
#pragma once

#include <string>
#include <vector>

#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

// Runs the command (a name of "/usr/bin" and "/usr/sbin", or a path) and waits for it. Returns its exit code,
// 128 + the signal's number when one ended it. Throws Failure (kExitNoSandbox) when the sandbox cannot be
// made: nothing is started then. The sandbox ends with the calling process, however that
// ends.
int runInSandbox(const SandboxOptions& options, const std::vector<std::string>& command);

} // namespace volad_dev

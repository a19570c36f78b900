// Runs a command where nothing it does can reach the machine: own namespaces made by bubblewrap, a recorder
// in place of each command that ends a system, no capability, no network, no service manager.
// See: docs/rehearsal.md
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

// A command (a name of "/usr/bin" and "/usr/sbin", or a path) that runs in a sandbox of its own. The sandbox
// ends with the calling process, however that ends, and with this object. One thread.
class SandboxedCommand {
public:
    // With options.asNobody a process of root's gives up root here, for good: what it needs as root it does
    // before. Throws Failure: kExitNoSandbox when no process can be started, kExitUsage, with the reason,
    // when an option or a standard stream would lead out of the sandbox.
    SandboxedCommand(const SandboxOptions& options, const std::vector<std::string>& command);
    ~SandboxedCommand();
    SandboxedCommand(const SandboxedCommand&) = delete;
    SandboxedCommand& operator=(const SandboxedCommand&) = delete;

    // Readable once the sandbox has ended: for a poll together with what else the caller waits for.
    [[nodiscard]] int fd() const;
    // Waits for the end, once. Returns the command's exit code, 128 + the signal's number when one ended it.
    // Throws Failure (kExitNoSandbox) when the sandbox could not be made: nothing was started then.
    int wait();

private:
    struct State;
    std::unique_ptr<State> m_state;
};

// Runs the command and waits for it; results and failures of both.
int runInSandbox(const SandboxOptions& options, const std::vector<std::string>& command);

} // namespace volad_dev

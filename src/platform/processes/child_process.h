// Starts shell command lines as child processes, at a cost that grows neither with this process's memory nor
// with its descriptor limit, and waits for them no longer than asked.
// Why: docs/decisions/starting-children.md
#pragma once

#include <sys/types.h>

#include "base/clock.h"
#include "base/unique_fd.h"

namespace em {

// What differs in the child's signal mask from that of the thread that starts it. The shell begins with that
// mask and decides what its programs inherit: bash hands it on, dash empties it when it starts a program,
// unless by "exec".
enum class ChildSignals {
    BlockEnding,  // SIGINT, SIGTERM, SIGHUP and SIGALRM are added: what ends this process spares the child
    UnblockAlarm, // SIGALRM is taken out
};

struct ChildProcess {
    pid_t pid = -1; // -1: not started
    UniqueFd pidfd; // invalid where the kernel has none
    int error = 0;  // why it was not started
    [[nodiscard]] bool started() const { return pid > 0; }
};

// Runs "/bin/sh -c command" in a child that keeps the descriptors 0 to 2, the working directory, the
// environment, the session and the process group, with its handled signals back at their default. A shell
// that cannot be run is the child's own failure: it writes the command and the error text to descriptor 2 and
// exits with 1. Nobody is told of the child's end, and it is not collected unless it is waited for. Any
// thread; no cancellation point.
[[nodiscard]] ChildProcess startShell(const char* command, ChildSignals signals);

enum class ChildEnd {
    Ended,              // and collected
    CollectedElsewhere, // there is no such child any more
    DeadlinePassed,     // it runs on, or is stopped
    WaitFailed,
};
struct ChildWait {
    ChildEnd end;
    int error = 0; // of a failed wait
};

// Waits for this child only, on the monotonic clock. Signals that reach the waiting thread do not end the
// wait. A cancellation point.
[[nodiscard]] ChildWait waitForChild(const ChildProcess& child, const Deadline& deadline);

} // namespace em

// Why a shutdown did not happen, or did, and what to do about it: one row for each of the table "The shutdown
// did not happen" in docs/operations.md, in its order and with its advice.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace volad_dev {

enum class RunCause {
    NeverATask,       // refused, or not taken by the queue
    GateClosed,       // the maintenance mode was not set
    Cancelled,        // before the delay ran out
    CancelledTooLate, // once the command could not be kept back any more
    Stopped,          // the module was stopped in the delay
    NotRoot,          // the host may not end the system
    CommandFailed,    // no process for it
    CommandStarted,   // what it did is its own affair
    Exception,        // inside the sequence
    None,             // not known, or still on its way
};

struct RunCauseRow {
    RunCause cause;
    std::string_view code;
    std::string_view happened, advice;
};

inline constexpr std::array<RunCauseRow, 10> kRunCauses = {{
    {RunCause::NeverATask, "never-a-task", "the request never became a task",
     "see the request's \"(RET)\" line; where the queue is shut, delete the module object and create it "
     "again"},
    {RunCause::GateClosed, "gate-closed", "refused: the maintenance mode was not set",
     "set the maintenance mode, send the request again"},
    {RunCause::Cancelled, "cancelled", "cancelled before the delay ran out", "send the request again"},
    {RunCause::CancelledTooLate, "cancelled-too-late",
     "a cancel came while the job or the command ran; the command had been started",
     "the machine goes down all the same"},
    {RunCause::Stopped, "stopped", "the module was stopped during the delay",
     "nothing was executed; create a new module object"},
    {RunCause::NotRoot, "not-root", "no command was started: the host does not run as root",
     "run it as root. The queue stays shut: delete the module object and create it again"},
    {RunCause::CommandFailed, "command-failed",
     "no process could be started for the command; the error is on the host's standard error",
     "mend the cause, then delete the module object and create it again"},
    {RunCause::CommandStarted, "command-started", "the command was started",
     "see the command's own messages on the host's standard error, the service manager's journal, and "
     "systemd-inhibit --list"},
    {RunCause::Exception, "exception", "an exception ended the sequence", "see the trace before the line"},
    {RunCause::None, "none", "", ""},
}};
static_assert([] {
    for (size_t i = 0; i < kRunCauses.size(); ++i) {
        if (static_cast<size_t>(kRunCauses[i].cause) != i) {
            return false;
        }
    }
    return true;
}());

constexpr const RunCauseRow& rowOf(RunCause cause) {
    return kRunCauses[static_cast<size_t>(cause)];
}

} // namespace volad_dev

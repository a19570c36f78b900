#include "osshutdown/job_runner.h"

#include <cstdio>
#include <optional>
#include <string>

#include "base/current_directory.h"
#include "base/swallow.h"
#include "contract/settings.h"
#include "contract/trace_lines.h"
#include "osshutdown/job_directory.h"
#include "platform/processes/child_process.h"
#include "trace/trace.h"

namespace em {
namespace {

bool isEmpty(const char* text) {
    return text == nullptr || *text == '\0';
}

// What perror writes, in the parent.
void printSystemError(const char* prefix, int error) {
    errno = error;
    std::perror(prefix);
}

CommandOutcome waitForCommand(const ChildProcess& child, uint32_t timeoutSeconds) {
    const ChildWait wait = waitForChild(child, Deadline::in(uint64_t{timeoutSeconds} * 1000));
    switch (wait.end) {
    case ChildEnd::Ended:
        return {CommandEnd::Finished};
    case ChildEnd::CollectedElsewhere:
        return {CommandEnd::CollectedElsewhere};
    case ChildEnd::DeadlinePassed:
        return {CommandEnd::TimedOut};
    case ChildEnd::WaitFailed:
        break;
    }
    return {CommandEnd::WaitFailed, wait.error};
}

} // namespace

CommandOutcome runCommand(const char* command, uint32_t timeoutSeconds) {
    if (isEmpty(command)) {
        return {CommandEnd::Empty};
    }
    CDebugClient& trace = processTrace.value;
    // Printed, not traced: what ended a system must show where tracing is off as well.
    trace.PrintTagged(0, line::kCommandBegins, command);
    const ChildProcess child = startShell(command, ChildSignals::BlockEnding);
    if (!child.started()) {
        trace.PrintTagged(0, line::kCommandFailed, command);
        printSystemError(command, child.error);
        return {CommandEnd::NotStarted, child.error};
    }
    trace.PrintTagged(0, line::kCommandForked, command);
    CommandOutcome outcome = {CommandEnd::Finished};
    if (timeoutSeconds != 0) {
        outcome = waitForCommand(child, timeoutSeconds);
    }
    if (outcome.end == CommandEnd::Finished) {
        trace.PrintTagged(0, line::kCommandEnded, command);
    }
    return outcome;
}

namespace {

std::string jobCommand(const char* path) {
    std::string command = path;
    if (command.size() > kLongestJob) {
        // Cut and run, with a warning: a job that is too long does not keep the system up.
        command.resize(kLongestJob);
        EM_TRACE(1, "\nCOSShutdown         : WARNING - shutdown job path cut to %d characters!",
                 asInt(kLongestJob));
    }
    return command;
}

// The process's own directory is moved, as it always was: a relative path of the host's means another place
// from then on.
void enterJobDirectory(const std::optional<std::string>& directory) {
    if (!directory) {
        std::string current;
        static_cast<void>(GetCurrentDirectory(current)); // an unknown one is shown as an empty text
        EM_TRACE(1, "\nCOSShutdown         : Shutdown job without a path, current directory \"%s\" is used",
                 current.c_str());
    }
    EM_TRACE(1, "COSShutdown         : Start cleanup job ...\n");
    if (directory) {
        static_cast<void>(sys::chdir(directory->c_str())); // the job then runs where the process is
    }
}

bool reportJob(const CommandOutcome& outcome) {
    switch (outcome.end) {
    case CommandEnd::Finished:
    case CommandEnd::CollectedElsewhere:
        EM_TRACE(1, line::kJobEnded);
        return true;
    case CommandEnd::TimedOut:
        EM_TRACE(1, line::kJobTimedOut);
        return false;
    case CommandEnd::Empty:
    case CommandEnd::NotStarted:
    case CommandEnd::WaitFailed:
        EM_TRACE(1, line::kJobFailed, outcome.error);
        return false;
    }
    return false;
}

bool runNamedJob(const char* path, const char* directory, uint32_t timeoutSeconds) {
    const std::string command = jobCommand(path);
    enterJobDirectory(jobDirectory(path, directory));
    const bool ended = reportJob(runCommand(command.c_str(), timeoutSeconds));
    EM_TRACE(5, "\nCOSShutdown         : <- RunShutdownJob");
    return ended;
}

} // namespace

bool runJob(const char* path, const char* directory, uint32_t timeoutSeconds) {
    bool found = false;
    bool ended = false;
    const bool unharmed = swallow([&] {
        EM_TRACE(5, "\nCOSShutdown         : -> RunShutdownJob");
        if (isEmpty(path)) {
            EM_TRACE(1, "\nCOSShutdown         : No shutdown job to perform!");
            EM_TRACE(5, "\nCOSShutdown         : <- RunShutdownJob");
            return;
        }
        EM_TRACE(1, line::kJobFound, path);
        found = true;
        ended = runNamedJob(path, directory, timeoutSeconds);
    });
    if (unharmed) {
        return ended;
    }
    EM_TRACE(1, "\nCOSShutdown         : EXCEPTION executing shutdown job!");
    if (found) {
        EM_TRACE(5, "\nCOSShutdown         : <- RunShutdownJob");
    }
    return false;
}

} // namespace em

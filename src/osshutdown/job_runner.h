// Runs shell command lines for the shutdown: the command that ends the system and the job before it.
#pragma once

#include <cstdint>

namespace em {

enum class CommandEnd {
    Empty,              // nothing was started
    NotStarted,         // no child could be created
    Finished,           // ended, or runs on because there is no limit to wait for
    CollectedElsewhere, // ended, and somebody else collected it
    TimedOut,           // runs on past its limit
    WaitFailed,
};
struct CommandOutcome {
    CommandEnd end;
    int error = 0; // of NotStarted and WaitFailed
};

// Starts the command line and waits for it up to the limit; 0 seconds = not at all. Its exit status is not
// examined. A command that is not waited for, or outlives its limit, is neither signalled nor collected.
// Writes its lines also while tracing is off. Throws nothing.
CommandOutcome runCommand(const char* command, uint32_t timeoutSeconds);

// Runs the shutdown job, a shell command line of at most kLongestJob bytes, in its directory, and leaves that
// as the process's working directory. Without a directory it is the job's own: the text up to its last "/",
// so give a directory when the job has arguments. True when the job was started and ended within the limit,
// or was not waited for. Throws nothing.
bool runJob(const char* path, const char* directory, uint32_t timeoutSeconds);

} // namespace em

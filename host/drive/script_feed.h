// Hands a script into the sandbox: a whole text, or standard input as it comes.
#pragma once

#include <string>

#include <poll.h>

#include "host/common/pipe.h"

namespace volad_dev {

// One thread. Nothing here waits: a reader that is busy and a writer who thinks are both waited for in the
// caller's poll.
class ScriptFeed {
public:
    // The text, and behind it, where followsInput is set, what comes from standard input. Throws
    // std::system_error.
    ScriptFeed(std::string text, bool followsInput);

    // What the sandbox is given to read from, and the end of it out here.
    [[nodiscard]] int readFd() const { return m_pipe.readEnd.get(); }
    void closeReadEnd() { m_pipe.readEnd.reset(); }

    // For a poll: the one thing that is waited for next; an invalid descriptor when all is done.
    [[nodiscard]] pollfd next() const;
    // It is ready.
    void goOn();

private:
    void readInput();
    void writePipe();

    Pipe m_pipe;
    std::string m_pending;
    bool m_followsInput;
};

} // namespace volad_dev

// The signals that ask a rehearsal to end: the first one is taken as a request, the next, of whichever kind,
// has its default effect, which ends the launcher and the sandbox with it.
#pragma once

#include "host/common/pipe.h"

namespace volad_dev {

// One at a time, while the process has one thread. A signal that the caller ignores stays ignored, as behind
// nohup.
class Interruption {
public:
    // Throws std::system_error.
    Interruption();

    // Readable once it was asked.
    [[nodiscard]] int fd() const { return m_pipe.readEnd.get(); }
    [[nodiscard]] bool isAsked() const;

private:
    Pipe m_pipe;
};

} // namespace volad_dev

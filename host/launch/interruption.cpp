#include "host/launch/interruption.h"

#include <signal.h>
#include <unistd.h>

#include <cerrno>

namespace volad_dev {
namespace {

// For the signal handler: the end of the pipe that tells.
int askedPipe = -1;

void takeDown(int /*signal*/) {
    const int error = errno;
    if (write(askedPipe, "", 1) < 0) {
        // A full pipe has told already.
    }
    errno = error;
}

void takeUnlessIgnored(int number) {
    struct sigaction present = {};
    if (sigaction(number, nullptr, &present) == 0 && present.sa_handler == SIG_IGN) {
        return;
    }
    struct sigaction action = {};
    action.sa_handler = takeDown;
    action.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);
    sigaction(number, &action, nullptr);
}

} // namespace

Interruption::Interruption() : m_pipe(makePipe(O_NONBLOCK)) {
    askedPipe = m_pipe.writeEnd.get();
    takeUnlessIgnored(SIGINT);
    takeUnlessIgnored(SIGHUP);
    takeUnlessIgnored(SIGTERM);
}

} // namespace volad_dev

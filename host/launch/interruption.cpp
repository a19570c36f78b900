#include "host/launch/interruption.h"

#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <array>
#include <cerrno>

namespace volad_dev {
namespace {

constexpr std::array<int, 3> kSignals = {SIGINT, SIGHUP, SIGTERM};

// For the signal handler: the end of the pipe that tells.
int askedPipe = -1;

void handle(int number, void (*handler)(int)) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(number, &action, nullptr);
}

bool isIgnored(int number) {
    struct sigaction present = {};
    return sigaction(number, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

// From now on each of them has its default effect.
void takeDown(int /*signal*/) {
    const int error = errno;
    if (write(askedPipe, "", 1) < 0) {
        // A full pipe has told already.
    }
    for (const int number : kSignals) {
        if (!isIgnored(number)) {
            handle(number, SIG_DFL);
        }
    }
    errno = error;
}

} // namespace

Interruption::Interruption() : m_pipe(makePipe(O_NONBLOCK)) {
    askedPipe = m_pipe.writeEnd.get();
    for (const int number : kSignals) {
        if (!isIgnored(number)) {
            handle(number, takeDown);
        }
    }
}

bool Interruption::isAsked() const {
    pollfd asked = {fd(), POLLIN, 0};
    return poll(&asked, 1, 0) > 0;
}

} // namespace volad_dev

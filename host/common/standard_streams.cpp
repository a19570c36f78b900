#include "host/common/standard_streams.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <string>
#include <system_error>

#include "host/common/failure.h"

namespace volad_dev {
namespace {

int lostAtOnce = 0; // the first error of printAtOnce; the tool prints by one thread

} // namespace

// In ascending order, so that open finds just the number that is free. Opened the wrong way round: each read
// and write fails with EBADF, as it would on the closed one.
void occupyStandardDescriptors() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        if (::fcntl(fd, F_GETFD) < 0) {
            static_cast<void>(::open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY));
        }
    }
}

void ignoreBrokenPipes() {
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN)); // fails for unknown signals only
}

size_t standardOutputColumns() {
    winsize size = {};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 1 ? size.ws_col : 80;
}

void printWhole(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
        throw std::system_error(errno, std::generic_category(), "standard output");
    }
}

void printAtOnce(std::string_view text) {
    const bool written = std::fwrite(text.data(), 1, text.size(), stdout) == text.size();
    if ((!written || std::fflush(stdout) != 0) && lostAtOnce == 0) {
        lostAtOnce = errno;
    }
}

bool flushStandardOutput(int earlier) {
    earlier = earlier != 0 ? earlier : lostAtOnce;
    const bool lostBefore = std::ferror(stdout) != 0;
    if (!lostBefore && std::fflush(stdout) == 0) {
        return true;
    }
    const int error = !lostBefore ? errno : earlier != 0 ? earlier : EIO;
    if (error != EPIPE) {
        printFailure("standard output: " + std::generic_category().message(error));
    }
    return false;
}

} // namespace volad_dev

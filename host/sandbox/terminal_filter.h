// Whoever has a terminal open for its own may type into it (TIOCSTI, and TIOCLINUX on a console): what a job
// types, the caller's shell runs behind the sandbox. A filter of system calls refuses both and leaves the
// terminal otherwise as it is, job control included.
#pragma once

#include <sys/ioctl.h>

#include <cerrno>

namespace volad_dev {

// Writes the filter into the file, as bubblewrap takes it. Both requests fail with EPERM, whatever stands in
// the upper half of the argument, which the kernel drops. System calls of another ABI (32 bit, x32) end the
// process: their numbers are others. Throws std::system_error.
void writeTerminalFilter(int fd);

// errno of a request to type, on no descriptor at all: EPERM with the filter, EBADF without it.
inline int typingError() {
    return ioctl(-1, TIOCSTI, nullptr) == 0 ? 0 : errno;
}

} // namespace volad_dev

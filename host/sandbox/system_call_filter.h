// System calls that lead out of the sandbox although namespaces, mounts and capabilities are in order.
#pragma once

#include <sys/ioctl.h>

#include <cerrno>

namespace volad_dev {

// Writes the filter into the file, as bubblewrap takes it. Refused are
// - to type into a terminal (TIOCSTI, and TIOCLINUX on a console): what a job types, the caller's shell runs
//   behind the sandbox. Otherwise the terminal stays as it is, job control included;
// - the kernel's keyrings, which no namespace parts from the caller's;
// - sockets of families that are in no network namespace, and io_uring, which makes sockets unfiltered;
// - to load another kernel, the other thing that CAP_SYS_BOOT is for, which one of the sandboxes has;
// - to hold or enter process 1, which is bubblewrap: the launcher waits for its end.
// Of an argument the lower half counts, since the kernel drops the upper one. System calls of another ABI
// (32 bit, x32) end the process: their numbers are others. Throws std::system_error.
void writeSystemCallFilter(int fd);

// errno of a request to type, on no descriptor at all: EPERM with the filter, EBADF without it.
inline int typingError() {
    return ioctl(-1, TIOCSTI, nullptr) == 0 ? 0 : errno;
}

} // namespace volad_dev

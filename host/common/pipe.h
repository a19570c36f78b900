// A pipe whose ends close at an exec.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "base/unique_fd.h"

namespace volad_dev {

struct Pipe {
    em::UniqueFd readEnd, writeEnd;
};

// Throws std::system_error.
inline Pipe makePipe(int flags = 0) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC | flags) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return {em::UniqueFd(ends[0]), em::UniqueFd(ends[1])};
}

} // namespace volad_dev

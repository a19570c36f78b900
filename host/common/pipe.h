// A pipe whose ends close at an exec.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <string>
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

// What the pipe holds now; nobody writes any more, though an inherited end may still be open.
[[nodiscard]] inline std::string drain(int fd) {
    std::string text;
    std::array<char, 4096> buffer;
    static_cast<void>(fcntl(fd, F_SETFL, O_NONBLOCK)); // on failure the read ends at the last writer's end
    for (ssize_t count; (count = read(fd, buffer.data(), buffer.size())) > 0;) {
        text.append(buffer.data(), static_cast<size_t>(count));
    }
    return text;
}

} // namespace volad_dev

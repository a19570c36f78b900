#include "host/sandbox/memory_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <system_error>

namespace volad_dev {
namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

em::UniqueFd fileInMemory(const std::string& content) {
    em::UniqueFd file(memfd_create("volad-dev", MFD_CLOEXEC));
    for (size_t done = 0; file.valid() && done < content.size();) {
        const ssize_t count = write(file.get(), content.data() + done, content.size() - done);
        if (count < 0) {
            fail("write");
        }
        done += static_cast<size_t>(count);
    }
    if (!file.valid() || lseek(file.get(), 0, SEEK_SET) != 0) {
        fail("memfd_create");
    }
    return file;
}

Pipe makePipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        fail("pipe2");
    }
    return {em::UniqueFd(ends[0]), em::UniqueFd(ends[1])};
}

std::string drain(int fd) {
    std::string text;
    std::array<char, 4096> buffer;
    static_cast<void>(fcntl(fd, F_SETFL, O_NONBLOCK)); // on failure the read ends at the last writer's end
    for (ssize_t count; (count = read(fd, buffer.data(), buffer.size())) > 0;) {
        text.append(buffer.data(), static_cast<size_t>(count));
    }
    return text;
}

} // namespace volad_dev

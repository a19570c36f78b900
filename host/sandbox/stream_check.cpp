#include "host/sandbox/stream_check.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <system_error>

#include <fmt/format.h>

#include "host/common/failure.h"
#include "host/sandbox/memory_file.h"

namespace volad_dev {
namespace {

constexpr std::array<const char*, 3> kNames = {"standard input", "standard output", "standard error"};

// null, zero, full, random, urandom
constexpr std::array<unsigned, 5> kHarmlessMinors = {3, 5, 7, 8, 9};

bool isHarmlessDevice(int fd, dev_t device) {
    return isatty(fd) == 1 ||
           (major(device) == 1 && std::ranges::find(kHarmlessMinors, minor(device)) != kHarmlessMinors.end());
}

// Only one end of a pair has no name on either side.
bool leadsToService(int fd) {
    sockaddr_storage name = {};
    for (const auto ask : {getsockname, getpeername}) {
        socklen_t length = sizeof name;
        if (ask(fd, reinterpret_cast<sockaddr*>(&name), &length) != 0 || name.ss_family != AF_UNIX ||
            length > sizeof name.ss_family) {
            return true;
        }
    }
    return false;
}

std::string faultOf(int fd, bool input, mode_t mode, dev_t device) {
    if (S_ISDIR(mode)) {
        return "a directory leads out of the sandbox";
    }
    if (S_ISBLK(mode)) {
        return "a block device leads out of the sandbox";
    }
    if (S_ISCHR(mode) && !isHarmlessDevice(fd, device)) {
        return "a device that is no terminal leads out of the sandbox";
    }
    return input && S_ISSOCK(mode) && leadsToService(fd) ? "a socket with a name leads out of the sandbox"
                                                         : "";
}

em::UniqueFd copyInMemory(int fd, uint64_t size) {
    em::UniqueFd copy = fileInMemory("");
    std::array<char, 65536> buffer;
    uint64_t total = 0;
    for (ssize_t count; (count = read(fd, buffer.data(), buffer.size())) != 0;) {
        if (count < 0 || write(copy.get(), buffer.data(), static_cast<size_t>(count)) != count) {
            throw Failure(fmt::format("standard input: {}", strerrordesc_np(errno)), kExitUsage);
        }
        total += static_cast<uint64_t>(count);
        if (total > size) {
            throw Failure("standard input is a file of more bytes than --size allows; give it through a pipe",
                          kExitUsage);
        }
    }
    lseek(copy.get(), 0, SEEK_SET);
    return copy;
}

} // namespace

em::UniqueFd checkStandardStreams(const std::array<int, 3>& standard, uint64_t size) {
    bool copied = false;
    for (size_t i = 0; i < standard.size(); ++i) {
        struct stat status = {};
        if (fstat(standard[i], &status) != 0) {
            throw Failure(fmt::format("{}: {}", kNames[i], strerrordesc_np(errno)), kExitUsage);
        }
        const std::string fault = faultOf(standard[i], i == 0, status.st_mode, status.st_rdev);
        if (!fault.empty()) {
            throw Failure(fmt::format("{}: refused, {}", kNames[i], fault), kExitUsage);
        }
        copied = copied || (i == 0 && S_ISREG(status.st_mode));
    }
    return copied ? copyInMemory(standard[0], size) : em::UniqueFd();
}

} // namespace volad_dev

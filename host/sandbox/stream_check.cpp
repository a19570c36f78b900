#include "host/sandbox/stream_check.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statfs.h>
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

constexpr unsigned kOldMasters = 2; // of pseudo terminals without a number

// Whoever holds the master types for whatever runs at the other end.
bool isMaster(int fd, dev_t device) {
    unsigned number = 0;
    return major(device) == kOldMasters || ioctl(fd, TIOCGPTN, &number) == 0;
}

bool isHarmlessDevice(int fd, dev_t device) {
    return (isatty(fd) == 1 && !isMaster(fd, device)) ||
           (major(device) == 1 && std::ranges::find(kHarmlessMinors, minor(device)) != kHarmlessMinors.end());
}

// A pipe without a name belongs to whoever made it. A FIFO could be opened anew for the other direction.
bool hasName(int fifo) {
    struct statfs around = {};
    return fstatfs(fifo, &around) != 0 || around.f_type != PIPEFS_MAGIC;
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

const char* wayOut(int fd, const struct stat& status) {
    switch (status.st_mode & S_IFMT) {
    case S_IFREG:
        return nullptr;
    case S_IFDIR:
        return "a directory";
    case S_IFBLK:
        return "a block device";
    case S_IFCHR:
        return isHarmlessDevice(fd, status.st_rdev) ? nullptr : "a device that is no terminal";
    case S_IFIFO:
        return hasName(fd) ? "a FIFO with a name" : nullptr;
    case S_IFSOCK:
        return leadsToService(fd) ? "a socket with a name" : nullptr;
    default:
        return "what is neither file, pipe, socket nor terminal";
    }
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
        if (const char* const what = wayOut(standard[i], status)) {
            throw Failure(fmt::format("{}: refused, {} leads out of the sandbox", kNames[i], what),
                          kExitUsage);
        }
        copied = copied || (i == 0 && S_ISREG(status.st_mode));
    }
    return copied ? copyInMemory(standard[0], size) : em::UniqueFd();
}

} // namespace volad_dev

#include "host/check/machine_root.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <memory>
#include <system_error>

#include <fmt/format.h>

#include "host/common/failure.h"

namespace volad_dev {
namespace {

constexpr size_t kMostNames = 10'000;
constexpr int kTries = 100; // a path whose directories are moved meanwhile is to be asked for again

int openInside(int root, const std::string& path) {
    open_how how = {};
    how.flags = O_PATH | O_CLOEXEC;
    how.resolve = RESOLVE_IN_ROOT | RESOLVE_NO_MAGICLINKS;
    int fd = -1;
    for (int tries = 0; tries < kTries; ++tries) {
        fd =
            static_cast<int>(syscall(SYS_openat2, root, path.empty() ? "." : path.c_str(), &how, sizeof how));
        if (fd >= 0 || (errno != EAGAIN && errno != EINTR)) {
            break;
        }
    }
    return fd;
}

std::string linkTarget(int fd) {
    std::array<char, PATH_MAX> target{};
    const std::string link = fmt::format("/proc/self/fd/{}", fd);
    const ssize_t length = readlink(link.c_str(), target.data(), target.size());
    return {target.data(), length > 0 ? static_cast<size_t>(length) : 0};
}

// "/" is in front of each path already.
std::string withoutLastSeparators(const std::string& path) {
    return path.substr(0, path.find_last_not_of('/') + 1);
}

struct CloseDirectory {
    void operator()(DIR* directory) const { closedir(directory); }
};

} // namespace

std::string Seen::path() const {
    return fmt::format("/proc/self/fd/{}", file.get());
}

MachineRoot::MachineRoot(const std::string& directory)
    : m_root(open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC)) {
    if (!m_root.valid() || fstat(m_root.get(), &m_status) != 0) {
        throw Failure(fmt::format("{}: {}", directory, std::generic_category().message(errno)));
    }
    m_real = withoutLastSeparators(linkTarget(m_root.get()));
    if (const Seen itself = look("/"); !itself.there()) {
        throw Failure(fmt::format("{}: the kernel resolves no path inside a directory: {}", directory,
                                  std::generic_category().message(itself.error)));
    }
}

Seen MachineRoot::look(const std::string& path) const {
    Seen seen;
    seen.file.reset(openInside(m_root.get(), path));
    if (!seen.file.valid() || fstat(seen.file.get(), &seen.status) != 0) {
        seen.error = errno;
    }
    return seen;
}

int MachineRoot::read(const std::string& path, size_t largest, size_t padding,
                      em::FileContent& content) const {
    const Seen seen = look(path);
    if (!seen.there()) {
        return seen.error;
    }
    return seen.isFile() ? em::readRegularFile(seen.path().c_str(), largest, padding, content) : ENOTSUP;
}

std::string MachineRoot::firstBytes(const Seen& file, size_t most) {
    std::string bytes;
    const em::UniqueFd opened(file.isFile() ? open(file.path().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)
                                            : -1);
    if (opened.valid()) {
        bytes.resize(most);
        const ssize_t count = ::read(opened.get(), bytes.data(), most);
        bytes.resize(count > 0 ? static_cast<size_t>(count) : 0);
    }
    return bytes;
}

int MachineRoot::list(const std::string& directory, std::vector<std::string>& names) const {
    const Seen seen = look(directory);
    if (!seen.there()) {
        return seen.error;
    }
    if (!seen.isDirectory()) {
        return ENOTDIR;
    }
    const std::unique_ptr<DIR, CloseDirectory> opened(opendir(seen.path().c_str()));
    if (opened == nullptr) {
        return errno;
    }
    while (const dirent* entry =
               readdir(opened.get())) { // NOLINT(concurrency-mt-unsafe): one stream a caller
        const std::string name = entry->d_name;
        if (name != "." && name != "..") {
            names.push_back(name);
        }
        if (names.size() > kMostNames) {
            return E2BIG;
        }
    }
    std::ranges::sort(names);
    return 0;
}

std::string MachineRoot::inside(const std::string& path) const {
    std::error_code failed;
    const std::string real = std::filesystem::canonical(path, failed);
    return !failed && !m_real.empty() && real.starts_with(m_real + "/") ? real.substr(m_real.size()) : path;
}

std::string MachineRoot::realPath(const Seen& seen) const {
    const std::string path = linkTarget(seen.file.get());
    return path.starts_with(m_real + "/") ? path.substr(m_real.size()) : "/";
}

std::string joined(const std::string& directory, const std::string& name) {
    return directory + (directory.ends_with('/') ? "" : "/") + name;
}

std::string pathFrom(const std::string& directory, const std::string& path) {
    return path.starts_with('/') ? path : joined(directory, path);
}

} // namespace volad_dev

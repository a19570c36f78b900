#include "support/simulated_disk.h"

#include <algorithm>
#include <cerrno>

namespace em::test {
namespace {

int failWith(int error) {
    errno = error;
    return -1;
}

void describe(size_t size, mode_t mode, struct stat& status) {
    status = {};
    status.st_mode = S_IFREG | mode;
    status.st_uid = ::geteuid();
    status.st_size = static_cast<off_t>(size);
}

} // namespace

SimulatedDisk::SimulatedDisk(const Image& image, bool exchanges, size_t writeLimit)
    : m_exchanges(exchanges), m_writeLimit(writeLimit), m_names(1) {
    for (const auto& [name, content] : image) {
        names()[name] = std::make_shared<File>(File{content, content});
    }
}

SimulatedDisk::Image SimulatedDisk::now() const {
    Image image;
    for (const auto& [name, file] : m_names.back()) {
        image[name] = file->content;
    }
    return image;
}

std::set<SimulatedDisk::Image> SimulatedDisk::afterPowerLoss() const {
    std::set<Image> images;
    for (const Names& left : m_names) {
        Image lost;
        Image half;
        Image kept;
        for (const auto& [name, file] : left) {
            const bool synced = file->content == file->synced;
            lost[name] = file->synced;
            half[name] = synced ? file->synced : file->content.substr(0, file->content.size() / 2);
            kept[name] = file->content;
        }
        images.insert({lost, half, kept});
    }
    return images;
}

mode_t SimulatedDisk::modeOf(const std::string& name) const {
    return m_names.back().at(name)->mode;
}

bool SimulatedDisk::mayGoOn() {
    ++m_calls;
    const auto failing = m_failing.find(m_calls);
    if (powerLost() || failing != m_failing.end()) {
        errno = powerLost() ? EIO : failing->second;
        return false;
    }
    return true;
}

int SimulatedDisk::add(std::shared_ptr<File> file) {
    m_open[m_nextFd] = {std::move(file)};
    return m_nextFd++;
}

int SimulatedDisk::openName(const std::string& name, int flags, mode_t mode) {
    const auto found = names().find(name);
    if (found == names().end()) {
        if ((flags & O_CREAT) == 0) {
            return failWith(ENOENT);
        }
        Names changed = names();
        changed[name] =
            std::make_shared<File>(File{{}, {}, mode & ~mode_t{077}}); // as a strict mask leaves it
        changeNames(std::move(changed));
    } else if ((flags & O_EXCL) != 0) {
        return failWith(EEXIST);
    } else if ((flags & O_TRUNC) != 0) {
        found->second->content.clear();
    }
    return add(names()[name]);
}

int SimulatedDisk::open(const char* path, int flags, mode_t mode) {
    if (!mayGoOn()) {
        return -1;
    }
    const std::string directory = kDirectory;
    if (path == directory) {
        return add(nullptr);
    }
    return std::string(path).starts_with(directory + "/") ? openName(path + directory.size() + 1, flags, mode)
                                                          : failWith(ENOENT);
}

int SimulatedDisk::openat(int /*dir*/, const char* name, int flags, mode_t mode) {
    return mayGoOn() ? openName(name, flags, mode) : -1;
}

int SimulatedDisk::close(int fd) {
    const bool told = mayGoOn();
    m_open.erase(fd); // also where it fails
    return told ? 0 : -1;
}

ssize_t SimulatedDisk::read(int fd, void* buffer, size_t size) {
    if (!mayGoOn()) {
        return -1;
    }
    Descriptor& from = m_open.at(fd);
    const size_t count = from.file->content.copy(static_cast<char*>(buffer), size, from.at);
    from.at += count;
    return static_cast<ssize_t>(count);
}

ssize_t SimulatedDisk::write(int fd, const void* data, size_t size) {
    if (!mayGoOn()) {
        return -1;
    }
    const size_t count = std::min(size, m_writeLimit);
    m_open.at(fd).file->content.append(static_cast<const char*>(data), count);
    return static_cast<ssize_t>(count);
}

int SimulatedDisk::fsync(int fd) {
    if (!mayGoOn()) {
        return -1;
    }
    if (File* const file = m_open.at(fd).file.get()) {
        file->synced = file->content;
    } else {
        m_names.erase(m_names.begin(), m_names.end() - 1);
    }
    return 0;
}

int SimulatedDisk::fchmod(int fd, mode_t mode) {
    if (!mayGoOn()) {
        return -1;
    }
    m_open.at(fd).file->mode = mode;
    return 0;
}

int SimulatedDisk::flock(int /*fd*/, int /*operation*/) {
    return mayGoOn() ? 0 : -1;
}

int SimulatedDisk::fstat(int fd, struct stat* status) {
    if (!mayGoOn()) {
        return -1;
    }
    const File& file = *m_open.at(fd).file;
    describe(file.content.size(), file.mode, *status);
    return 0;
}

int SimulatedDisk::fstatat(int /*dir*/, const char* name, struct stat* status, int /*flags*/) {
    if (!mayGoOn()) {
        return -1;
    }
    const auto found = names().find(name);
    if (found == names().end()) {
        return failWith(ENOENT);
    }
    describe(found->second->content.size(), found->second->mode, *status);
    return 0;
}

int SimulatedDisk::renameat(int /*fromDir*/, const char* from, int /*toDir*/, const char* to) {
    if (!mayGoOn()) {
        return -1;
    }
    Names changed = names();
    auto moved = changed.extract(from);
    if (moved.empty()) {
        return failWith(ENOENT);
    }
    changed[to] = moved.mapped();
    changeNames(std::move(changed));
    return 0;
}

int SimulatedDisk::renameat2(int /*fromDir*/, const char* from, int /*toDir*/, const char* to,
                             unsigned /*flags*/) {
    if (!mayGoOn()) {
        return -1;
    }
    if (!m_exchanges) {
        return failWith(EINVAL);
    }
    Names changed = names();
    if (!changed.contains(from) || !changed.contains(to)) {
        return failWith(ENOENT);
    }
    std::swap(changed[from], changed[to]);
    changeNames(std::move(changed));
    return 0;
}

int SimulatedDisk::unlinkat(int /*dir*/, const char* name, int /*flags*/) {
    if (!mayGoOn()) {
        return -1;
    }
    Names changed = names();
    if (changed.erase(name) == 0) {
        return failWith(ENOENT);
    }
    changeNames(std::move(changed));
    return 0;
}

} // namespace em::test

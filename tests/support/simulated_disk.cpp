#include "support/simulated_disk.h"

#include <algorithm>
#include <cerrno>

namespace em::test {
namespace {

int failWith(int error) {
    errno = error;
    return -1;
}

} // namespace

int SimulatedDisk::describe(const File& file, struct stat& status) {
    status = {};
    status.st_mode = S_IFREG | file.mode;
    status.st_uid = ::geteuid();
    status.st_size = static_cast<off_t>(file.content.size());
    return 0;
}

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

template <class Call>
auto SimulatedDisk::call(const Call& body) -> decltype(body()) {
    ++m_calls;
    const auto failing = m_failing.find(m_calls);
    if (powerLost() || failing != m_failing.end()) {
        return failWith(powerLost() ? EIO : failing->second);
    }
    return body();
}

template <class Change>
int SimulatedDisk::changeNames(const Change& change) {
    return call([&] {
        Names changed = names();
        const int error = change(changed);
        if (error != 0) {
            return failWith(error);
        }
        m_names.push_back(std::move(changed));
        return 0;
    });
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
        m_names.push_back(std::move(changed));
    } else if ((flags & O_EXCL) != 0) {
        return failWith(EEXIST);
    } else if ((flags & O_TRUNC) != 0) {
        found->second->content.clear();
    }
    return add(names()[name]);
}

int SimulatedDisk::open(const char* path, int flags, mode_t mode) {
    return call([&] {
        const std::string directory = kDirectory;
        if (path == directory) {
            return add(nullptr);
        }
        return std::string(path).starts_with(directory + "/")
                   ? openName(path + directory.size() + 1, flags, mode)
                   : failWith(ENOENT);
    });
}

int SimulatedDisk::openat(int /*dir*/, const char* name, int flags, mode_t mode) {
    return call([&] { return openName(name, flags, mode); });
}

int SimulatedDisk::close(int fd) {
    const int result = call([] { return 0; });
    m_open.erase(fd); // also where it fails
    return result;
}

ssize_t SimulatedDisk::read(int fd, void* buffer, size_t size) {
    return call([&] {
        Descriptor& from = m_open.at(fd);
        const size_t count = from.file->content.copy(static_cast<char*>(buffer), size, from.at);
        from.at += count;
        return static_cast<ssize_t>(count);
    });
}

ssize_t SimulatedDisk::write(int fd, const void* data, size_t size) {
    return call([&] {
        const size_t count = std::min(size, m_writeLimit);
        m_open.at(fd).file->content.append(static_cast<const char*>(data), count);
        return static_cast<ssize_t>(count);
    });
}

int SimulatedDisk::fsync(int fd) {
    return call([&] {
        if (File* const file = m_open.at(fd).file.get()) {
            file->synced = file->content;
        } else {
            m_names.erase(m_names.begin(), m_names.end() - 1);
        }
        return 0;
    });
}

int SimulatedDisk::fchmod(int fd, mode_t mode) {
    return call([&] {
        m_open.at(fd).file->mode = mode;
        return 0;
    });
}

int SimulatedDisk::flock(int /*fd*/, int /*operation*/) {
    return call([] { return 0; });
}

int SimulatedDisk::fstat(int fd, struct stat* status) {
    return call([&] { return describe(*m_open.at(fd).file, *status); });
}

int SimulatedDisk::fstatat(int /*dir*/, const char* name, struct stat* status, int /*flags*/) {
    return call([&] {
        const auto found = names().find(name);
        return found == names().end() ? failWith(ENOENT) : describe(*found->second, *status);
    });
}

int SimulatedDisk::renameat(int /*fromDir*/, const char* from, int /*toDir*/, const char* to) {
    return changeNames([&](Names& names) {
        auto moved = names.extract(from);
        if (moved.empty()) {
            return ENOENT;
        }
        names[to] = moved.mapped();
        return 0;
    });
}

int SimulatedDisk::renameat2(int /*fromDir*/, const char* from, int /*toDir*/, const char* to,
                             unsigned /*flags*/) {
    return changeNames([&](Names& names) {
        if (!m_exchanges || !names.contains(from) || !names.contains(to)) {
            return m_exchanges ? ENOENT : EINVAL;
        }
        std::swap(names[from], names[to]);
        return 0;
    });
}

int SimulatedDisk::unlinkat(int /*dir*/, const char* name, int /*flags*/) {
    return changeNames([&](Names& names) { return names.erase(name) == 0 ? ENOENT : 0; });
}

} // namespace em::test

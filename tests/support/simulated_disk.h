// A directory on a simulated disk, in place of the real file system: it counts calls, fails one of them,
// loses power at one of them, and knows what was synced, so that a test sees every content that a loss of
// power may leave. What is not synced may be lost: of a file's data all or half, of the directory's changes
// any that came last. Syncing a file does not sync its name.
#pragma once

#include <algorithm>
#include <cerrno>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "base/system_fake.h"

namespace em::test {

class SimulatedDisk : public fake::Files {
public:
    using Image = std::map<std::string, std::string>; // names in the directory and contents, all synced

    static constexpr const char* kDirectory = "/simulated";

    // Whether RENAME_EXCHANGE is known, and how many bytes a write takes at most.
    SimulatedDisk(const Image& image, bool exchanges, size_t writeLimit)
        : m_exchanges(exchanges), m_writeLimit(writeLimit), m_names(1) {
        for (const auto& [name, content] : image) {
            names()[name] = std::make_shared<File>(File{content, content});
        }
    }

    // From now on, 1 = the next call. Several may fail. Once power is lost every call fails and does nothing.
    void failCall(int nth, int error) { m_failing[m_calls + nth] = error; }
    void losePowerAt(int nth) { m_powerLossAt = m_calls + nth; }
    // Takes back what has not come yet.
    void endFaults() {
        m_failing.clear();
        m_powerLossAt = powerLost() ? m_powerLossAt : 0;
    }
    [[nodiscard]] int calls() const { return m_calls; }
    [[nodiscard]] bool powerLost() const { return m_powerLossAt != 0 && m_calls >= m_powerLossAt; }

    // What running processes see.
    [[nodiscard]] Image now() const {
        Image image;
        for (const auto& [name, file] : m_names.back()) {
            image[name] = file->content;
        }
        return image;
    }
    // Every content that is possible after a loss of power right now.
    [[nodiscard]] std::set<Image> afterPowerLoss() const {
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
    [[nodiscard]] mode_t modeOf(const std::string& name) const { return m_names.back().at(name)->mode; }
    [[nodiscard]] size_t openDescriptors() const { return m_open.size(); }

    int open(const char* path, int flags, mode_t mode) override {
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
    int openat(int /*dir*/, const char* name, int flags, mode_t mode) override {
        return call([&] { return openName(name, flags, mode); });
    }
    int close(int fd) override {
        const int result = call([] { return 0; });
        m_open.erase(fd); // also where it fails
        return result;
    }
    ssize_t read(int fd, void* buffer, size_t size) override {
        return call([&] {
            Descriptor& from = m_open.at(fd);
            const size_t count = from.file->content.copy(static_cast<char*>(buffer), size, from.at);
            from.at += count;
            return static_cast<ssize_t>(count);
        });
    }
    ssize_t write(int fd, const void* data, size_t size) override {
        return call([&] {
            const size_t count = std::min(size, m_writeLimit);
            m_open.at(fd).file->content.append(static_cast<const char*>(data), count);
            return static_cast<ssize_t>(count);
        });
    }
    int fsync(int fd) override {
        return call([&] {
            if (File* const file = m_open.at(fd).file.get()) {
                file->synced = file->content;
            } else {
                m_names.erase(m_names.begin(), m_names.end() - 1);
            }
            return 0;
        });
    }
    int fchmod(int fd, mode_t mode) override {
        return call([&] {
            m_open.at(fd).file->mode = mode;
            return 0;
        });
    }
    int flock(int /*fd*/, int /*operation*/) override {
        return call([] { return 0; });
    }
    int fstat(int fd, struct stat* status) override {
        return call([&] { return describe(*m_open.at(fd).file, *status); });
    }
    int fstatat(int /*dir*/, const char* name, struct stat* status, int /*flags*/) override {
        return call([&] {
            const auto found = names().find(name);
            return found == names().end() ? failWith(ENOENT) : describe(*found->second, *status);
        });
    }
    int renameat(int /*fromDir*/, const char* from, int /*toDir*/, const char* to) override {
        return changeNames([&](Names& names) {
            auto moved = names.extract(from);
            if (moved.empty()) {
                return ENOENT;
            }
            names[to] = moved.mapped();
            return 0;
        });
    }
    int renameat2(int /*fromDir*/, const char* from, int /*toDir*/, const char* to,
                  unsigned /*flags*/) override {
        return changeNames([&](Names& names) {
            if (!m_exchanges || !names.contains(from) || !names.contains(to)) {
                return m_exchanges ? ENOENT : EINVAL;
            }
            std::swap(names[from], names[to]);
            return 0;
        });
    }
    int unlinkat(int /*dir*/, const char* name, int /*flags*/) override {
        return changeNames([&](Names& names) { return names.erase(name) == 0 ? ENOENT : 0; });
    }

private:
    struct File {
        std::string content;
        std::string synced;
        mode_t mode = 0600; // as a store's lock file needs it
    };
    using Names = std::map<std::string, std::shared_ptr<File>>;
    struct Descriptor {
        std::shared_ptr<File> file; // null: the directory
        size_t at = 0;
    };

    static int failWith(int error) {
        errno = error;
        return -1;
    }
    // Counts the call, which does what the body does, or -1 with errno when it is to fail.
    template <class Call>
    auto call(const Call& body) -> decltype(body()) {
        ++m_calls;
        const auto failing = m_failing.find(m_calls);
        if (powerLost() || failing != m_failing.end()) {
            return failWith(powerLost() ? EIO : failing->second);
        }
        return body();
    }
    // A call that changes a copy of the names, which becomes the present ones; an error number leaves them.
    template <class Change>
    int changeNames(const Change& change) {
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
    [[nodiscard]] Names& names() { return m_names.back(); }
    static int describe(const File& file, struct stat& status) {
        status = {};
        status.st_mode = S_IFREG | file.mode;
        status.st_uid = ::geteuid();
        status.st_size = static_cast<off_t>(file.content.size());
        return 0;
    }
    int add(std::shared_ptr<File> file) {
        m_open[m_nextFd] = {std::move(file)};
        return m_nextFd++;
    }
    int openName(const std::string& name, int flags, mode_t mode) {
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

    const bool m_exchanges;
    const size_t m_writeLimit;
    std::vector<Names> m_names; // the synced directory first, then as it was after each change since
    std::map<int, Descriptor> m_open;
    std::map<int, int> m_failing; // by call
    int m_calls = 0;
    int m_powerLossAt = 0;
    int m_nextFd = 1'000'000; // no real one
};

} // namespace em::test

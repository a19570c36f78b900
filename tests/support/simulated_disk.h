// A directory on a simulated disk, in place of the real file system: it counts calls, fails one of them,
// loses power at one of them, and knows what was synced, so that a test sees every content that a loss of
// power may leave. What is not synced may be lost: of a file's data all or half, of the directory's changes
// any that came last. Syncing a file does not sync its name.
#pragma once

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
    SimulatedDisk(const Image& image, bool exchanges, size_t writeLimit);

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
    [[nodiscard]] Image now() const;
    // Every content that is possible after a loss of power right now.
    [[nodiscard]] std::set<Image> afterPowerLoss() const;
    [[nodiscard]] mode_t modeOf(const std::string& name) const;
    [[nodiscard]] size_t openDescriptors() const { return m_open.size(); }

    int open(const char* path, int flags, mode_t mode) override;
    int openat(int dir, const char* name, int flags, mode_t mode) override;
    int close(int fd) override;
    ssize_t read(int fd, void* buffer, size_t size) override;
    ssize_t write(int fd, const void* data, size_t size) override;
    int fsync(int fd) override;
    int fchmod(int fd, mode_t mode) override;
    int flock(int fd, int operation) override;
    int fstat(int fd, struct stat* status) override;
    int fstatat(int dir, const char* name, struct stat* status, int flags) override;
    int renameat(int fromDir, const char* from, int toDir, const char* to) override;
    int renameat2(int fromDir, const char* from, int toDir, const char* to, unsigned flags) override;
    int unlinkat(int dir, const char* name, int flags) override;

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

    // Counts the call, which does what the body does, or -1 with errno when it is to fail.
    template <class Call>
    auto call(const Call& body) -> decltype(body());
    // A call that changes a copy of the names, which becomes the present ones; an error number leaves them.
    template <class Change>
    int changeNames(const Change& change);
    [[nodiscard]] Names& names() { return m_names.back(); }
    static int describe(const File& file, struct stat& status);
    int add(std::shared_ptr<File> file);
    int openName(const std::string& name, int flags, mode_t mode);

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

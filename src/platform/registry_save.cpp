#include "platform/registry_save.h"

#include "platform/base/unique_fd.h"
#include "platform/deadline.h"
#include "platform/registry_names.h"
#include "platform/sleep.h"
#include "platform/write_all.h"

namespace em {
namespace {

constexpr mode_t kMode = 0644;
constexpr uint64_t kLockLimitMs = 2000; // another writer needs some milliseconds
constexpr uint64_t kLockPollMs = 5;

// The steps of one save, in their order. Each returns false on a failure and says where in m_Outcome.
class Save {
public:
    Save(const std::string& directory, std::string_view content)
        : m_strDirectory(directory), m_strMain(directory + "/" + kRegistryMain), m_Content(content) {}

    RegistrySaveOutcome Run() {
        if (LockDirectory() && OpenTemporary()) {
            if (!(WriteTemporary() && TakePlace())) {
                DropTemporary();
            } else {
                SyncDirectory();
            }
        }
        return m_Outcome;
    }

private:
    bool FailAt(const char* step, int error) {
        m_Outcome.failedAt = step;
        m_Outcome.error = error;
        return false;
    }

    bool LockDirectory() {
        m_Directory.reset(sys::open(m_strDirectory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        m_Outcome.notOpened = !m_Directory.valid();
        if (!m_Directory.valid()) {
            return FailAt("open directory", errno);
        }
        const Deadline limit = Deadline::in(kLockLimitMs);
        while (sys::flock(m_Directory.get(), LOCK_EX | LOCK_NB) != 0) {
            if (errno != EINTR && (errno != EWOULDBLOCK || limit.remainingMs() == 0)) {
                return FailAt("lock directory", errno);
            }
            sleepMs(kLockPollMs);
        }
        return true;
    }

    // No link is followed and no FIFO waited for.
    bool OpenTemporary() {
        m_Temporary.reset(sys::openat(m_Directory.get(), kRegistryTemporary,
                                      O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC,
                                      kMode));
        m_Outcome.notOpened = !m_Temporary.valid();
        return m_Temporary.valid() || FailAt("open", errno);
    }

    bool WriteTemporary() {
        if (const int error = writeAll(m_Temporary.get(), m_Content)) {
            return FailAt("write", error);
        }
        if (sys::fchmod(m_Temporary.get(), kMode) != 0) {
            return FailAt("set permissions", errno);
        }
        if (sys::fsync(m_Temporary.get()) != 0) {
            return FailAt("sync", errno);
        }
        return m_Temporary.closeChecked() || FailAt("close", errno);
    }

    bool TakePlace() {
        struct stat status = {};
        if (sys::stat(m_strMain.c_str(), &status) != 0 && errno != ENOENT) {
            return FailAt("look at the old file", errno);
        }
        if (status.st_size == 0) {
            return Rename(kRegistryTemporary, kRegistryMain) || FailAt("rename", errno);
        }
        if (Exchange()) {
            return BackUpExchanged();
        }
        // A file system that cannot exchange says so in one of these ways.
        const bool unknown = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
        return unknown ? RenameTwice() : FailAt("exchange", errno);
    }

    // The temporary name stands for the old tree now.
    bool BackUpExchanged() {
        if (Rename(kRegistryTemporary, kRegistryBackup)) {
            return true;
        }
        static_cast<void>(FailAt("rename to backup", errno));
        m_bKeepTemporary = !Exchange();
        return false;
    }

    // Without the exchange there is an instant with no main file; a start then takes the backup, which is it.
    bool RenameTwice() {
        if (!Rename(kRegistryMain, kRegistryBackup)) {
            return FailAt("rename to backup", errno);
        }
        if (Rename(kRegistryTemporary, kRegistryMain)) {
            return true;
        }
        static_cast<void>(FailAt("rename", errno));
        static_cast<void>(Rename(kRegistryBackup, kRegistryMain)); // the backup is whole in either place
        return false;
    }

    void SyncDirectory() {
        if (sys::fsync(m_Directory.get()) != 0) {
            static_cast<void>(FailAt("sync directory", errno));
        }
    }

    void DropTemporary() {
        m_Temporary.reset();
        if (!m_bKeepTemporary) {
            static_cast<void>(sys::unlinkat(m_Directory.get(), kRegistryTemporary, 0)); // told already
        }
    }

    bool Rename(const char* from, const char* to) {
        return sys::renameat(m_Directory.get(), from, m_Directory.get(), to) == 0;
    }
    bool Exchange() {
        return sys::renameat2(m_Directory.get(), kRegistryTemporary, m_Directory.get(), kRegistryMain,
                              RENAME_EXCHANGE) == 0;
    }

    const std::string& m_strDirectory;
    const std::string m_strMain;
    const std::string_view m_Content;
    UniqueFd m_Directory; // carries the lock
    UniqueFd m_Temporary;
    bool m_bKeepTemporary = false;
    RegistrySaveOutcome m_Outcome;
};

} // namespace

RegistrySaveOutcome saveRegistryFile(const std::string& directory, std::string_view content) {
    return Save(directory, content).Run();
}

} // namespace em

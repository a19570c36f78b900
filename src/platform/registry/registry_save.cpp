#include "platform/registry/registry_save.h"

#include "base/unique_fd.h"
#include "platform/files/write_all.h"
#include "platform/registry/registry_lock.h"
#include "platform/registry/registry_writer.h"

namespace em {
namespace {

constexpr mode_t kMode = 0644;

// The steps of one save, in their order. Each returns false on a failure and says where in m_Outcome.
class Save {
public:
    explicit Save(const std::string& directory) : m_strDirectory(directory) {}

    RegistrySaveOutcome Run(CRegistryNode& root, bool locked) {
        m_Outcome.untried = !(OpenDirectory() && (locked || TakeLock()) && LookAtOldFile());
        if (m_Outcome.failedAt == nullptr) {
            // Behind the lock: text from before it might be older than what another thread has saved since.
            const GrowingText text = writeRegistry(root);
            Put(text.view());
        }
        return m_Outcome;
    }

private:
    void Put(std::string_view content) {
        if (!Fits(content) || !OpenTemporary()) {
            return;
        }
        if (!(WriteTemporary(content) && TakePlace())) {
            DropTemporary();
        } else {
            SyncDirectory();
        }
    }

    bool FailAt(const char* step, int error) {
        m_Outcome.failedAt = step;
        m_Outcome.error = error;
        return false;
    }

    bool OpenDirectory() {
        m_Directory.reset(sys::open(m_strDirectory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        m_Outcome.notOpened = !m_Directory.valid();
        return m_Directory.valid() || FailAt("open directory", errno);
    }

    bool TakeLock() {
        const RegistryFailure failure = m_Lock.Try(m_Directory.get());
        // Where no lock file can be made, the temporary file cannot be either.
        m_Outcome.notOpened = failure.error == EACCES || failure.error == EROFS || failure.error == ENOSPC;
        return failure.failedAt == nullptr || FailAt(failure.failedAt, failure.error);
    }

    bool LookAtOldFile() {
        struct stat status = {};
        if (sys::fstatat(m_Directory.get(), kRegistryMain, &status, AT_SYMLINK_NOFOLLOW) != 0 &&
            errno != ENOENT) {
            return FailAt("look at the old file", errno);
        }
        // A rename would put the file where the link is and leave the one that the link means as it was.
        if (S_ISLNK(status.st_mode)) {
            return FailAt("it is a symbolic link", ELOOP);
        }
        m_bReplaces = status.st_size != 0;
        return true;
    }

    bool Fits(std::string_view content) {
        return content.size() <= kRegistryLargestFile || FailAt("the tree is too large", EFBIG);
    }

    // Whatever stands there is taken away, not written to: it may be another name of a file that is needed,
    // or another user's. What cannot be taken away fails the open.
    bool OpenTemporary() {
        static_cast<void>(sys::unlinkat(m_Directory.get(), kRegistryTemporary, 0)); // usually there is none
        m_Temporary.reset(sys::openat(m_Directory.get(), kRegistryTemporary,
                                      O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kMode));
        m_Outcome.notOpened = !m_Temporary.valid();
        return m_Temporary.valid() || FailAt("open", errno);
    }

    bool WriteTemporary(std::string_view content) {
        if (const int error = writeAll(m_Temporary.get(), content)) {
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
        if (!m_bReplaces) {
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
            // The rename does nothing where the backup was another name of the same file.
            static_cast<void>(sys::unlinkat(m_Directory.get(), kRegistryTemporary, 0)); // usually gone
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
    UniqueFd m_Directory;
    RegistryLock m_Lock;
    UniqueFd m_Temporary;
    bool m_bReplaces = false; // the main file is there and holds something
    bool m_bKeepTemporary = false;
    RegistrySaveOutcome m_Outcome;
};

} // namespace

RegistrySaveOutcome saveRegistryFile(const std::string& directory, CRegistryNode& root, bool locked) {
    return Save(directory).Run(root, locked);
}

} // namespace em

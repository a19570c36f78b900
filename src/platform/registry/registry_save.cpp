#include "platform/registry/registry_save.h"

#include "base/unique_fd.h"
#include "platform/files/write_all.h"
#include "platform/registry/registry_lock.h"
#include "platform/registry/registry_writer.h"

namespace em {
namespace {

constexpr mode_t kMode = 0644;

// The steps of one save, in their order. Each returns false on a failure and says where in m_outcome.
class Save {
public:
    explicit Save(const std::string& directory) : m_path(directory) {}

    RegistrySaveOutcome run(CRegistryNode& root, bool locked) {
        m_outcome.untried = !(openDirectory() && (locked || takeLock()) && lookAtOldFile());
        if (m_outcome.failedAt == nullptr) {
            // Behind the lock: text from before it might be older than what another thread has saved since.
            const GrowingText text = writeRegistry(root);
            put(text.view());
        }
        return m_outcome;
    }

private:
    void put(std::string_view content) {
        if (!fits(content) || !openTemporary()) {
            return;
        }
        if (!(writeTemporary(content) && takePlace())) {
            dropTemporary();
        } else {
            syncDirectory();
        }
    }

    bool failAt(const char* step, int error) {
        m_outcome.failedAt = step;
        m_outcome.error = error;
        return false;
    }

    bool openDirectory() {
        m_directory.reset(sys::open(m_path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        m_outcome.notOpened = !m_directory.valid();
        return m_directory.valid() || failAt("open directory", errno);
    }

    bool takeLock() {
        const RegistryFailure failure = m_lock.tryLock(m_directory.get());
        // Where no lock file can be made, the temporary file cannot be either.
        m_outcome.notOpened = failure.error == EACCES || failure.error == EROFS || failure.error == ENOSPC;
        return failure.failedAt == nullptr || failAt(failure.failedAt, failure.error);
    }

    bool lookAtOldFile() {
        struct stat status = {};
        if (sys::fstatat(m_directory.get(), kRegistryMain, &status, AT_SYMLINK_NOFOLLOW) != 0 &&
            errno != ENOENT) {
            return failAt("look at the old file", errno);
        }
        // A rename would put the file where the link is and leave the one that the link means as it was.
        if (S_ISLNK(status.st_mode)) {
            return failAt("it is a symbolic link", ELOOP);
        }
        m_replaces = status.st_size != 0;
        return true;
    }

    bool fits(std::string_view content) {
        return content.size() <= kRegistryLargestFile || failAt("the tree is too large", EFBIG);
    }

    // Whatever stands there is taken away, not written to: it may be another name of a file that is needed,
    // or another user's. What cannot be taken away fails the open.
    bool openTemporary() {
        static_cast<void>(sys::unlinkat(m_directory.get(), kRegistryTemporary, 0)); // usually there is none
        m_temporary.reset(sys::openat(m_directory.get(), kRegistryTemporary,
                                      O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kMode));
        m_outcome.notOpened = !m_temporary.valid();
        return m_temporary.valid() || failAt("open", errno);
    }

    bool writeTemporary(std::string_view content) {
        if (const int error = writeAll(m_temporary.get(), content)) {
            return failAt("write", error);
        }
        if (sys::fchmod(m_temporary.get(), kMode) != 0) {
            return failAt("set permissions", errno);
        }
        if (sys::fsync(m_temporary.get()) != 0) {
            return failAt("sync", errno);
        }
        return m_temporary.closeChecked() || failAt("close", errno);
    }

    bool takePlace() {
        if (!m_replaces) {
            return rename(kRegistryTemporary, kRegistryMain) || failAt("rename", errno);
        }
        if (exchange()) {
            return backUpExchanged();
        }
        // A file system that cannot exchange says so in one of these ways.
        const bool unknown = errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP;
        return unknown ? renameTwice() : failAt("exchange", errno);
    }

    // The temporary name stands for the old tree now.
    bool backUpExchanged() {
        if (rename(kRegistryTemporary, kRegistryBackup)) {
            // The rename does nothing where the backup was another name of the same file.
            static_cast<void>(sys::unlinkat(m_directory.get(), kRegistryTemporary, 0)); // usually gone
            return true;
        }
        static_cast<void>(failAt("rename to backup", errno));
        m_keepTemporary = !exchange();
        return false;
    }

    // Without the exchange there is an instant with no main file; a start then takes the backup, which is it.
    bool renameTwice() {
        if (!rename(kRegistryMain, kRegistryBackup)) {
            return failAt("rename to backup", errno);
        }
        if (rename(kRegistryTemporary, kRegistryMain)) {
            return true;
        }
        static_cast<void>(failAt("rename", errno));
        static_cast<void>(rename(kRegistryBackup, kRegistryMain)); // the backup is whole in either place
        return false;
    }

    void syncDirectory() {
        if (sys::fsync(m_directory.get()) != 0) {
            static_cast<void>(failAt("sync directory", errno));
        }
    }

    void dropTemporary() {
        m_temporary.reset();
        if (!m_keepTemporary) {
            static_cast<void>(sys::unlinkat(m_directory.get(), kRegistryTemporary, 0)); // told already
        }
    }

    bool rename(const char* from, const char* to) {
        return sys::renameat(m_directory.get(), from, m_directory.get(), to) == 0;
    }
    bool exchange() {
        return sys::renameat2(m_directory.get(), kRegistryTemporary, m_directory.get(), kRegistryMain,
                              RENAME_EXCHANGE) == 0;
    }

    const std::string& m_path;
    UniqueFd m_directory;
    RegistryLock m_lock;
    UniqueFd m_temporary;
    bool m_replaces = false; // the main file is there and holds something
    bool m_keepTemporary = false;
    RegistrySaveOutcome m_outcome;
};

} // namespace

RegistrySaveOutcome saveRegistryFile(const std::string& directory, CRegistryNode& root, bool locked) {
    return Save(directory).run(root, locked);
}

} // namespace em

#include "platform/registry/registry_lock.h"

namespace em {
namespace {

constexpr mode_t kMode = S_IRUSR | S_IWUSR;
constexpr int kFlags = O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// Made by itself and never followed or waited for: whoever can write to the directory may have put anything
// in its place.
UniqueFd openLockFile(int directory) {
    UniqueFd file(sys::openat(directory, kRegistryLock, kFlags));
    if (file.valid() || errno != ENOENT) {
        return file;
    }
    file.reset(sys::openat(directory, kRegistryLock, kFlags | O_CREAT | O_EXCL, kMode));
    if (file.valid()) {
        // Against an odd umask; whether it then counts is seen from its status.
        static_cast<void>(sys::fchmod(file.get(), kMode));
    } else if (errno == EEXIST) {
        file.reset(sys::openat(directory, kRegistryLock, kFlags)); // another writer was first
    }
    return file;
}

} // namespace

const char* refusalOfLockFile(const struct stat& status) {
    if (!S_ISREG(status.st_mode)) {
        return "the lock file is no regular file";
    }
    if (status.st_uid != sys::geteuid()) {
        return "the lock file belongs to another user";
    }
    return (status.st_mode & ALLPERMS) == kMode ? nullptr : "the lock file's mode is not 0600";
}

// The lock is the open file's, not the descriptor's: close alone would leave it to a child of the host's that
// never runs a program, and no save would get it while that child lives.
RegistryLock::~RegistryLock() {
    if (m_file.valid()) {
        static_cast<void>(sys::flock(m_file.get(), LOCK_UN)); // closing it is all that is left to try
    }
}

RegistryFailure RegistryLock::tryLock(int directory) {
    UniqueFd file = openLockFile(directory);
    struct stat status = {};
    if (!file.valid()) {
        return {"open the lock file", errno};
    }
    if (sys::fstat(file.get(), &status) != 0) {
        return {"look at the lock file", errno};
    }
    if (const char* const refusal = refusalOfLockFile(status)) {
        return {refusal, EPERM};
    }
    while (sys::flock(file.get(), LOCK_EX | LOCK_NB) != 0) {
        if (errno != EINTR) {
            return {"lock", errno};
        }
    }
    m_file = std::move(file);
    return {};
}

} // namespace em

// The lock by which the writers of a registry directory exclude each other: flock(2) on a file in it. Whoever
// can open a file can lock it and so switch saving off; so the file counts only while nobody but our own user
// (and root) can open it. It holds nothing and is never removed: a writer that waits on a removed file would
// not exclude one that made a new one.
#pragma once

#include "base/unique_fd.h"
#include "platform/registry/registry_names.h"

namespace em {

// Why a file of that status is no lock file of ours, as a step to tell, or null: it must be a regular file,
// belong to the effective user and have the mode 0600.
[[nodiscard]] const char* refusalOfLockFile(const struct stat& status);

class RegistryLock {
public:
    constexpr RegistryLock() = default; // not held
    // Gives it back, also where a child that was forked meanwhile still has the descriptor.
    ~RegistryLock();
    RegistryLock(const RegistryLock&) = delete;
    RegistryLock& operator=(const RegistryLock&) = delete;

    // Tries once and never waits; makes the file when it is missing. The error is EWOULDBLOCK while another
    // writer holds it. For an object that does not hold it yet.
    [[nodiscard]] RegistryFailure tryLock(int directory);

private:
    UniqueFd m_file;
};

} // namespace em

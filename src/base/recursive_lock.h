// A mutex that its owner may take again. Without set-up, or when the mutex could not be created, every call
// is a no-op and its users run unlocked.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "base/thread_annotations.h"

namespace em {

class EM_CAPABILITY("mutex") RecursiveLock {
public:
    constexpr RecursiveLock() = default;
    ~RecursiveLock() { TearDown(); }
    RecursiveLock(const RecursiveLock&) = delete;
    RecursiveLock& operator=(const RecursiveLock&) = delete;

    // Creates the mutex. False when that failed: the lock stays a no-op.
    bool SetUp();
    // From now on the lock is a no-op. False when somebody still holds it: the mutex, and what it guards,
    // must then be left alone.
    bool TearDown() noexcept;

    // Both leave errno alone. Release does nothing for a caller that is not the owner. A lock call that fails
    // counts as taken: nothing better is defined.
    void Acquire() EM_ACQUIRE();
    void Release() EM_RELEASE();

private:
    pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
    std::atomic<pthread_t> m_owner{0}; // 0 = free
    uint32_t m_depth = 0;              // touched by the owner only
    std::atomic<bool> m_initialised{false};
};

// Holds a lock for a scope.
class EM_SCOPED_CAPABILITY RecursiveLockGuard {
public:
    explicit RecursiveLockGuard(RecursiveLock& lock) EM_ACQUIRE(lock) : m_lock(lock) { m_lock.Acquire(); }
    ~RecursiveLockGuard() EM_RELEASE() { m_lock.Release(); }
    RecursiveLockGuard(const RecursiveLockGuard&) = delete;
    RecursiveLockGuard& operator=(const RecursiveLockGuard&) = delete;

private:
    RecursiveLock& m_lock;
};

} // namespace em

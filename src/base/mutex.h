// A plain mutex that clang's thread safety analysis knows: the fields that it guards say so, and are checked.
#pragma once

#include <mutex>

#include "base/thread_annotations.h"

namespace em {

class EM_CAPABILITY("mutex") Mutex {
public:
    constexpr Mutex() = default;
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

    void lock() EM_ACQUIRE() { m_mutex.lock(); }
    void unlock() EM_RELEASE() { m_mutex.unlock(); }
    [[nodiscard]] bool tryLock() EM_TRY_ACQUIRE(true) { return m_mutex.try_lock(); }

private:
    std::mutex m_mutex;
};

// Holds a mutex for a scope.
class EM_SCOPED_CAPABILITY MutexLock {
public:
    explicit MutexLock(Mutex& mutex) EM_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
    // Takes over one that tryLock() has taken.
    MutexLock(Mutex& mutex, std::adopt_lock_t /*taken*/) EM_REQUIRES(mutex) : m_mutex(mutex) {}
    ~MutexLock() EM_RELEASE() { m_mutex.unlock(); }
    MutexLock(const MutexLock&) = delete;
    MutexLock& operator=(const MutexLock&) = delete;

private:
    Mutex& m_mutex;
};

} // namespace em

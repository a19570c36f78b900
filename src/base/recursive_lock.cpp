#include "base/recursive_lock.h"

#include "base/errno_keeper.h"
#include "base/system.h"

namespace em {

bool RecursiveLock::SetUp() {
    m_owner = 0;
    m_depth = 0;
    m_initialised = sys::pthread_mutex_init(&m_mutex) == 0;
    return m_initialised;
}

bool RecursiveLock::TearDown() noexcept {
    if (!m_initialised.exchange(false)) {
        return true;
    }
    // Destroying a locked mutex is undefined; its holder is a thread that the host did not stop.
    if (::pthread_mutex_trylock(&m_mutex) != 0) {
        return false;
    }
    ::pthread_mutex_unlock(&m_mutex);
    ::pthread_mutex_destroy(&m_mutex);
    return true;
}

// Not analysed, as Release: what takes and gives the capability is the mutex inside, and only at the first
// depth.
void RecursiveLock::Acquire() EM_NO_THREAD_SAFETY_ANALYSIS {
    if (!m_initialised) {
        return;
    }
    const pthread_t self = ::pthread_self();
    // Only this thread stores its own id, so equality cannot come or go meanwhile, in whatever order others
    // see it.
    if (m_owner.load(std::memory_order_relaxed) != self) {
        const ErrnoKeeper keeper;
        static_cast<void>(sys::pthread_mutex_lock(&m_mutex));
        m_owner.store(self, std::memory_order_relaxed);
    }
    ++m_depth;
}

void RecursiveLock::Release() EM_NO_THREAD_SAFETY_ANALYSIS {
    if (!m_initialised || m_owner.load(std::memory_order_relaxed) != ::pthread_self()) {
        return;
    }
    if (--m_depth == 0) {
        m_owner.store(0, std::memory_order_relaxed);
        const ErrnoKeeper keeper;
        ::pthread_mutex_unlock(&m_mutex);
    }
}

} // namespace em

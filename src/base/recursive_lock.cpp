#include "base/recursive_lock.h"

#include "base/errno_keeper.h"
#include "base/system.h"

namespace em {

bool RecursiveLock::SetUp() {
    m_nOwner = 0;
    m_nDepth = 0;
    m_bInitialised = sys::pthread_mutex_init(&m_Mutex) == 0;
    return m_bInitialised;
}

bool RecursiveLock::TearDown() noexcept {
    if (!m_bInitialised.exchange(false)) {
        return true;
    }
    // Destroying a locked mutex is undefined; its holder is a thread that the host did not stop.
    if (::pthread_mutex_trylock(&m_Mutex) != 0) {
        return false;
    }
    ::pthread_mutex_unlock(&m_Mutex);
    ::pthread_mutex_destroy(&m_Mutex);
    return true;
}

// Not analysed, as Release: what takes and gives the capability is the mutex inside, and only at the first
// depth.
void RecursiveLock::Acquire() EM_NO_THREAD_SAFETY_ANALYSIS {
    if (!m_bInitialised) {
        return;
    }
    const pthread_t self = ::pthread_self();
    // Only this thread stores its own id, so equality cannot come or go meanwhile.
    if (m_nOwner != self) {
        const ErrnoKeeper keeper;
        static_cast<void>(sys::pthread_mutex_lock(&m_Mutex));
        m_nOwner = self;
    }
    ++m_nDepth;
}

void RecursiveLock::Release() EM_NO_THREAD_SAFETY_ANALYSIS {
    if (!m_bInitialised || m_nOwner != ::pthread_self()) {
        return;
    }
    if (--m_nDepth == 0) {
        m_nOwner = 0;
        const ErrnoKeeper keeper;
        ::pthread_mutex_unlock(&m_Mutex);
    }
}

} // namespace em

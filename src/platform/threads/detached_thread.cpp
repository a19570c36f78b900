#include "platform/threads/detached_thread.h"

#include <cerrno>
#include <new>
#include <utility>

#include "base/system.h"

namespace em {

std::shared_ptr<DetachedThread> DetachedThread::Make(Routine routine, void* argument) noexcept {
    try {
        auto record = std::make_shared<DetachedThread>(routine, argument);
        record->m_pThreadsOwn = record;
        return record;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void* DetachedThread::Run(void* record) {
    struct End {
        std::shared_ptr<DetachedThread> record;
        ~End() { record->MarkEnded(); }
    };
    // Also when the routine is cancelled: the unwinding runs this destructor.
    const End end{std::move(static_cast<DetachedThread*>(record)->m_pThreadsOwn)};
    return end.record->m_pRoutine(end.record->m_pArgument);
}

bool DetachedThread::HasEnded() {
    const MutexLock lock(m_Mutex);
    return m_bEnded;
}

// Under the mutex that the end is marked under: until the cancel has been sent, the thread cannot end.
int DetachedThread::Cancel(pthread_t thread) {
    const MutexLock lock(m_Mutex);
    return m_bEnded ? ESRCH : sys::pthread_cancel(thread);
}

void DetachedThread::MarkEnded() {
    const MutexLock lock(m_Mutex);
    m_bEnded = true;
}

} // namespace em

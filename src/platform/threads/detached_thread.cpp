#include "platform/threads/detached_thread.h"

#include <cerrno>
#include <new>
#include <utility>

#include "base/system.h"

namespace em {

std::shared_ptr<DetachedThread> DetachedThread::make(Routine routine, void* argument) noexcept {
    try {
        auto record = std::make_shared<DetachedThread>(routine, argument);
        record->m_threadsOwn = record;
        return record;
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void* DetachedThread::run(void* record) {
    struct End {
        std::shared_ptr<DetachedThread> record;
        ~End() { record->markEnded(); }
    };
    // Also when the routine is cancelled: the unwinding runs this destructor.
    const End end{std::move(static_cast<DetachedThread*>(record)->m_threadsOwn)};
    return end.record->m_routine(end.record->m_argument);
}

bool DetachedThread::hasEnded() {
    const MutexLock lock(m_mutex);
    return m_ended;
}

// Under the mutex that the end is marked under: until the cancel has been sent, the thread cannot end.
int DetachedThread::cancel(pthread_t thread) {
    const MutexLock lock(m_mutex);
    return m_ended ? ESRCH : sys::pthread_cancel(thread);
}

void DetachedThread::markEnded() {
    const MutexLock lock(m_mutex);
    m_ended = true;
}

} // namespace em

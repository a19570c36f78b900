// What is known of a detached thread. The system forgets such a thread when it ends, and asking about it then
// reads freed memory; so the thread and its owner share this record.
#pragma once

#include <pthread.h>

#include <memory>

#include "base/mutex.h"

namespace em {

class DetachedThread {
public:
    using Routine = void* (*)(void*);

    // Null when there is no memory.
    static std::shared_ptr<DetachedThread> make(Routine routine, void* argument) noexcept;
    DetachedThread(Routine routine, void* argument) : m_routine(routine), m_argument(argument) {}
    DetachedThread(const DetachedThread&) = delete;
    DetachedThread& operator=(const DetachedThread&) = delete;

    // The start routine of the thread; its argument is the record. Marks the end however the thread comes to
    // it: by return or by cancellation.
    static void* run(void* record);
    // No thread was made after all: gives back its reference.
    void abandon() noexcept { m_threadsOwn.reset(); }

    [[nodiscard]] bool hasEnded();
    // Cancels the thread with that id while it cannot end. Returns the error number, ESRCH when it has ended.
    [[nodiscard]] int cancel(pthread_t thread);

private:
    void markEnded();

    const Routine m_routine;
    void* const m_argument;
    std::shared_ptr<DetachedThread> m_threadsOwn; // the thread's reference until it takes it over
    Mutex m_mutex;                                // held while the thread is cancelled
    bool m_ended EM_GUARDED_BY(m_mutex) = false;
};

} // namespace em

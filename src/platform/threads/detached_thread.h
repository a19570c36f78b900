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
    static std::shared_ptr<DetachedThread> Make(Routine routine, void* argument) noexcept;
    DetachedThread(Routine routine, void* argument) : m_pRoutine(routine), m_pArgument(argument) {}
    DetachedThread(const DetachedThread&) = delete;
    DetachedThread& operator=(const DetachedThread&) = delete;

    // The start routine of the thread; its argument is the record. Marks the end however the thread comes to
    // it: by return or by cancellation.
    static void* Run(void* record);
    // No thread was made after all: gives back its reference.
    void Abandon() noexcept { m_pThreadsOwn.reset(); }

    [[nodiscard]] bool HasEnded();
    // Cancels the thread with that id while it cannot end. Returns the error number, ESRCH when it has ended.
    [[nodiscard]] int Cancel(pthread_t thread);

private:
    void MarkEnded();

    const Routine m_pRoutine;
    void* const m_pArgument;
    std::shared_ptr<DetachedThread> m_pThreadsOwn; // the thread's reference until it takes it over
    Mutex m_Mutex;                                 // held while the thread is cancelled
    bool m_bEnded EM_GUARDED_BY(m_Mutex) = false;
};

} // namespace em

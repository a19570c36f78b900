// The required way of an event, written by hand: state and wake-up under one lock, then a yield.
#pragma once

#include <pthread.h>
#include <sched.h>

namespace em::bench {

struct PosixLocks {
    pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
    pthread_cond_t condition = PTHREAD_COND_INITIALIZER;

    void lock() { ::pthread_mutex_lock(&mutex); }
    void unlock() { ::pthread_mutex_unlock(&mutex); }
    void wakeAll() { ::pthread_cond_broadcast(&condition); }
    void wakeOne() { ::pthread_cond_signal(&condition); }
    void sleep() { ::pthread_cond_wait(&condition, &mutex); }
};

template <class Locks = PosixLocks>
class RequiredEvent {
public:
    explicit RequiredEvent(bool manualReset) : m_manual(manualReset) {}
    void set() {
        m_locks.lock();
        m_signaled = true;
        m_manual ? m_locks.wakeAll() : m_locks.wakeOne();
        m_locks.unlock();
        ::sched_yield();
    }
    void reset() {
        m_locks.lock();
        m_signaled = false;
        m_locks.unlock();
    }
    void wait() {
        m_locks.lock();
        while (!m_signaled) {
            m_locks.sleep();
        }
        m_signaled = m_manual;
        m_locks.unlock();
    }

private:
    Locks m_locks;
    const bool m_manual;
    bool m_signaled = false;
};

} // namespace em::bench

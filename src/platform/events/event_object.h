// The state that all handles to one event share.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>

#include "base/file_content.h"
#include "base/system.h"

namespace em {

struct EventObject {
    pthread_cond_t cond; // on the monotonic clock
    pthread_mutex_t mutex;
    uint32_t refCount =
        1; // handles; under the object lock, which is declared above the events (event_state.h)
    std::atomic<bool> isManual;
    // Written under the mutex (by RecreateEvent without it), looked at without it by design. A release store
    // that an acquire load sees shows what its writer did before; the rest is ordered by the mutex.
    std::atomic<bool> isSignaled;
    char* name = nullptr;            // owned; null for an anonymous event
    std::atomic<int32_t> waiters{0}; // threads blocked in a wait
    pthread_condattr_t condAttr;

    EventObject(bool signaled, bool manual) : isManual(manual), isSignaled(signaled) {}
    ~EventObject() { std::free(name); }
    EventObject(const EventObject&) = delete;
    EventObject& operator=(const EventObject&) = delete;

    static void* operator new(size_t size, const std::nothrow_t& /*tag*/) noexcept {
        return sys::malloc(size);
    }
    static void operator delete(void* memory) noexcept { std::free(memory); }
    static void operator delete(void* memory, const std::nothrow_t& /*tag*/) noexcept { std::free(memory); }

    [[nodiscard]] bool signaled() const { return isSignaled.load(std::memory_order_acquire); }
    void setSignaled(bool state) { isSignaled.store(state, std::memory_order_release); }
    [[nodiscard]] bool manual() const { return isManual.load(std::memory_order_relaxed); }
    // What a successful wait leaves: an auto-reset event serves one wait only.
    void consume() {
        if (!manual()) {
            setSignaled(false);
        }
    }
    // All waiters of a manual-reset event, one of an auto-reset one. The error number, 0 on success.
    int wake() { return manual() ? sys::pthread_cond_broadcast(&cond) : sys::pthread_cond_signal(&cond); }
};

// Takes over an event's mutex with the result of locking it, and leaves it at the end of a scope or before.
// Operations go on when it could not be locked; then nothing is unlocked.
class EventMutexGuard {
public:
    EventMutexGuard(EventObject& event, int lockResult) : m_mutex(lockResult == 0 ? &event.mutex : nullptr) {}
    ~EventMutexGuard() { unlock(); }
    EventMutexGuard(const EventMutexGuard&) = delete;
    EventMutexGuard& operator=(const EventMutexGuard&) = delete;

    void unlock() {
        if (m_mutex != nullptr) {
            ::pthread_mutex_unlock(std::exchange(m_mutex, nullptr));
        }
    }

private:
    pthread_mutex_t* m_mutex; // null when it is not locked, or not any more
};

// Does the work under the event's mutex, and without when that cannot be locked. The two ways part before the
// work: a result kept over it costs a good part of what a frequent operation costs beside its lock.
template <class Work>
[[gnu::always_inline]] inline auto underMutex(EventObject& event, Work&& work) {
    if (sys::pthread_mutex_lock(&event.mutex) != 0) [[unlikely]] {
        return work();
    }
    const EventMutexGuard guard(event, 0);
    return work();
}

// "anon" stands for an anonymous event in every line.
inline const char* shownEventName(const char* name) {
    return name != nullptr ? name : "anon";
}

// What a line shows of an event that another thread may free before the line is written.
struct EventPicture {
    explicit EventPicture(const EventObject& event)
        : address(&event),
          signaled(event.signaled()),
          manual(event.manual()),
          ownName(event.name != nullptr ? sys::strdup(event.name) : nullptr) {}
    [[nodiscard]] const char* name() const { return shownEventName(ownName.get()); }

    const void* address;
    bool signaled;
    bool manual;
    std::unique_ptr<char, FreeDeleter> ownName; // null for an anonymous event
};

// Why an event could not be created.
struct EventFailure {
    enum class Stage { Memory, Clock, Condition, Mutex } stage = Stage::Memory;
    int error = 0;
    uintptr_t address = 0; // of the object that is gone again
};

// Null, and the reason, when memory or the system refuses.
EventObject* createEventObject(bool signaled, bool manual, const char* name, EventFailure& failure);
// Takes down an object that nobody waits on or refers to, without freeing it.
void tearDownEventObject(EventObject& event) noexcept;

} // namespace em

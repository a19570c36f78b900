// The state that all handles to one event share.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>

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

// Holds an event's mutex for a scope. Operations go on when it cannot be locked; then nothing is unlocked.
// Inlined throughout, so that it stays in registers: it makes up a good part of an operation's cost.
class EventMutexGuard {
public:
    [[gnu::always_inline]] explicit EventMutexGuard(EventObject& event)
        : EventMutexGuard(event, sys::pthread_mutex_lock(&event.mutex)) {}
    // Takes over from a guard that was left with release().
    [[gnu::always_inline]] EventMutexGuard(EventObject& event, int lockResult)
        : m_mutex(&event.mutex), m_result(lockResult) {}
    [[gnu::always_inline]] ~EventMutexGuard() { unlock(); }
    EventMutexGuard(const EventMutexGuard&) = delete;
    EventMutexGuard& operator=(const EventMutexGuard&) = delete;

    [[gnu::always_inline]] void unlock() {
        if (m_mutex != nullptr && m_result == 0) {
            ::pthread_mutex_unlock(m_mutex);
        }
        m_mutex = nullptr;
    }
    // Leaves the mutex as it is to another guard.
    [[nodiscard]] [[gnu::always_inline]] int release() {
        m_mutex = nullptr;
        return m_result;
    }

private:
    pthread_mutex_t* m_mutex; // null once it is not this guard's any more
    const int m_result;
};

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

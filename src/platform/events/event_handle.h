// Win32-style event objects: a signalled state that threads wait for, with manual or automatic reset. Any
// thread may call any operation. Every operation reports itself in the trace, also under the event's own
// lock; what the host's debug object throws there is dropped and the operation goes on.
#pragma once

#include <atomic>
#include <cstdint>

namespace em {

constexpr int32_t EVENT_SIGNALED = 0;
constexpr int32_t EVENT_TIMEOUT = 102; // not the value of Win32, deliberately
constexpr int32_t EVENT_FAILED = -1;
constexpr uint32_t EVENT_WAIT_FOREVER = 0xFFFFFFFF; // milliseconds

struct EventObject;

// A counted reference to an event object. Unless said otherwise an operation on a handle that is closed, or
// has no object because creating it failed, does nothing and returns false.
class EventHandle {
public:
    // Creates an event: null is an anonymous one, any other name ("" too) one that is shared process-wide. A
    // name that exists already gives the existing event as it is, its state and its kind of reset included.
    // Throws nothing; without memory, or when the system refuses, the handle has no object.
    EventHandle(bool initialState, bool manualReset, const char* name = nullptr);
    // Shares the object; the copy is open, also when the source is closed.
    EventHandle(const EventHandle& source);
    EventHandle& operator=(const EventHandle&) = delete;
    ~EventHandle() { ReleaseEvent(); }

    // Drops the reference; the handle then has no object. The last one waits, looking once a second, until no
    // thread is blocked on the object, and cannot be cancelled meanwhile. It may run while other threads wait
    // through the same handle; beside a call that has not begun to wait yet it is the caller's error, since
    // the object may be gone when that call gets to it.
    void ReleaseEvent() noexcept;

    // Changes kind and state. False while a thread waits on the object.
    bool RecreateEvent(bool initialState, bool manualReset);
    // Sets the event once more and makes this handle unusable for good; others to the same object still work.
    bool CloseEvent();
    // Wakes all waiters (manual reset) or one (auto reset). True when the wake-up succeeded.
    bool SetEvent();
    // Wakes like SetEvent those who wait already, and leaves the event not signalled.
    bool PulseEvent();
    bool ResetEvent();
    // The state, never clearing it.
    [[nodiscard]] bool CheckEvent() const;
    // EVENT_SIGNALED, EVENT_TIMEOUT or EVENT_FAILED (at once, on a closed handle or one without object). A
    // successful wait clears an auto-reset event. Any wake-up counts as signalled, a pulse and a spurious one
    // too: callers for whom "too early" does harm wait again. `trace` tells whether the wait writes its
    // lines. A thread may be cancelled in here.
    [[nodiscard]] int32_t WaitForEvent(uint32_t timeoutMs, bool trace) const;
    [[nodiscard]] bool IsEventValid() const { return true; }
    [[nodiscard]] bool IsEventOpen() const { return !m_closed; }

private:
    EventHandle() = default;
    // Null when closed.
    [[nodiscard]] EventObject* UsableObject() const { return m_closed ? nullptr : m_object.load(); }

    std::atomic<EventObject*> m_object{nullptr};
    std::atomic<bool> m_closed{false};
};

} // namespace em

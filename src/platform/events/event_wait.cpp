#include "platform/events/event_wait.h"

#include <cerrno>
#include <optional>

#include "base/clock.h"
#include "base/swallow.h"
#include "platform/events/event_handle.h"
#include "platform/events/event_object.h"
#include "trace/trace.h"

namespace em {
namespace {

constexpr uint32_t kLevel = 5;

struct Outcome {
    int32_t result = EVENT_FAILED;
    int lockCode = -1;
    int waitCode = -1;
};

// Counts a waiter for a scope, also when its thread is cancelled; the event's mutex is held at both ends.
class WaiterRegistration {
public:
    explicit WaiterRegistration(EventObject& event) : m_event(event) { ++m_event.waiters; }
    ~WaiterRegistration() { --m_event.waiters; }
    WaiterRegistration(const WaiterRegistration&) = delete;
    WaiterRegistration& operator=(const WaiterRegistration&) = delete;

private:
    EventObject& m_event;
};

// Not for correctness of the time, which is absolute, but so that a signal is no wake-up.
template <class Wait>
int repeatWhileInterrupted(Wait&& wait) {
    int code = 0;
    do {
        code = wait();
    } while (code == EINTR);
    return code;
}

[[gnu::cold, gnu::noinline]] void traceStart(const EventObject& event, uint32_t timeoutMs) {
    const void* const address = &event;
    if (timeoutMs == EVENT_WAIT_FOREVER) {
        EM_TRACE(kLevel, "\nwaiting forever on event %p", address);
    } else {
        EM_TRACE(kLevel, "\nwaiting %dms on event %p", asInt(timeoutMs), address);
    }
}

// Taken while the object is sure to be there; nothing when no line will be written.
std::optional<EventPicture> pictureForTrace(const EventObject& event, bool trace) {
    return trace && traceWillWrite(kLevel) ? std::optional<EventPicture>(std::in_place, event) : std::nullopt;
}

void traceAlreadySignaled(const EventPicture& event) {
    EM_TRACE(kLevel, "event %p <%s> (IsManual=%d) has been already signaled --> New state: IsSignaled=%d\n",
             event.address, event.name(), event.manual, event.signaled);
}

void traceEnd(const EventPicture& event, const Outcome& outcome) {
    const char* const word = outcome.result == EVENT_SIGNALED  ? "SIGNAL"
                             : outcome.result == EVENT_TIMEOUT ? "TIMEOUT"
                                                               : "FAILURE";
    EM_TRACE(kLevel, "%s(%d,%d) on event %p <%s> (IsSignaled=%d)\n", word, outcome.lockCode, outcome.waitCode,
             event.address, event.name(), event.signaled);
}

// Both pass a cancellation on.
int waitFor(EventObject& event, uint32_t timeoutMs, bool trace) {
    timespec now{};
    sys::clock_gettime(CLOCK_MONOTONIC, &now);
    const timespec deadline = waitDeadline(now, timeoutMs);
    if (trace) {
        const void* const address = &event;
        EM_TRACE(kLevel,
                 "prepare time for waiting on event %p <%s> (ts_beg:sec=%ld,ts_beg:nsec=%ld) -> "
                 "(ts:sec=%ld,ts:nsec=%ld)\n",
                 address, shownEventName(event.name), now.tv_sec, now.tv_nsec, deadline.tv_sec,
                 deadline.tv_nsec);
    }
    return repeatWhileInterrupted(
        [&] { return sys::pthread_cond_timedwait(&event.cond, &event.mutex, &deadline); });
}
int waitForever(EventObject& event) {
    return repeatWhileInterrupted([&] { return sys::pthread_cond_wait(&event.cond, &event.mutex); });
}

// Under the event's mutex. An exception leaves the outcome at "failed".
Outcome block(EventObject& event, uint32_t timeoutMs, bool trace) {
    Outcome outcome;
    static_cast<void>(swallow([&] {
        // Counted before the first sleep and under the mutex, so that a release that drains sees this thread.
        const WaiterRegistration registration(event);
        const int code =
            timeoutMs == EVENT_WAIT_FOREVER ? waitForever(event) : waitFor(event, timeoutMs, trace);
        const bool signaled = code == 0 || event.signaled(); // a pulse wakes without leaving a state
        if (signaled) {
            event.consume();
        }
        outcome.result = signaled ? EVENT_SIGNALED : code == ETIMEDOUT ? EVENT_TIMEOUT : EVENT_FAILED;
        outcome.lockCode = 0;
        outcome.waitCode = code;
    }));
    return outcome;
}

// Under the event's mutex, if locking it succeeded.
Outcome waitForSignal(EventObject& event, int lockCode, uint32_t timeoutMs, bool trace) {
    if (lockCode == 0) {
        return block(event, timeoutMs, trace);
    }
    ++event.waiters; // for good: an object whose mutex is broken must never be freed
    return {EVENT_FAILED, lockCode, 0};
}

// A wait in full; takes the mutex over. What a line needs is taken before the mutex is left.
[[gnu::noinline]] int32_t waitThoroughly(EventObject& event, int lockCode, uint32_t timeoutMs, bool trace) {
    EventMutexGuard guard(event, lockCode);
    const bool alreadySignaled = event.signaled();
    Outcome outcome{EVENT_SIGNALED, lockCode, 0};
    if (alreadySignaled) {
        event.consume();
    } else {
        outcome = waitForSignal(event, lockCode, timeoutMs, trace);
    }
    const std::optional<EventPicture> picture = pictureForTrace(event, trace);
    guard.unlock();
    if (picture) {
        alreadySignaled ? traceAlreadySignaled(*picture) : traceEnd(*picture, outcome);
    }
    return outcome.result;
}

} // namespace

int32_t waitOnEventObject(EventObject& event, uint32_t timeoutMs, bool trace) {
    if (traceEnabled() && trace) {
        traceStart(event, timeoutMs);
    }
    const int lockCode = sys::pthread_mutex_lock(&event.mutex);
    // The common case, a state that is there and nothing to tell of it, stays free of everything else.
    if (lockCode != 0 || !event.signaled() || traceEnabled()) [[unlikely]] {
        return waitThoroughly(event, lockCode, timeoutMs, trace);
    }
    event.consume();
    ::pthread_mutex_unlock(&event.mutex);
    return EVENT_SIGNALED;
}

} // namespace em

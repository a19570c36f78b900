#include "platform/events/event_handle.h"

#include <optional>

#include "base/cancellation_disabled.h"
#include "base/clock.h"
#include "platform/events/event_object.h"
#include "platform/events/event_state.h"
#include "platform/events/event_wait.h"
#include "trace/trace.h"

namespace em {

constinit NeverDestroyed<EventState> eventState;

namespace {

constexpr uint64_t kDrainPollMs = 1000;

const void* addressOf(const EventObject& event) {
    return &event;
}

void traceFailure(const EventFailure& failure, const char* name, bool initialState) {
    // The address is a number by now: the object behind it is gone.
    const auto* const address = reinterpret_cast<const void*>(failure.address);
    const char* const shown = shownEventName(name);
    switch (failure.stage) {
    case EventFailure::Stage::Memory:
        break;
    case EventFailure::Stage::Clock:
        EM_TRACE(3,
                 "pthread_condattr_setclock(): ## ERROR ##: Set CLOCK_MONOTONIC failed (ret=%d) for "
                 "event %p <%s> (IsSignaled=%d)\n",
                 failure.error, address, shown, initialState);
        break;
    case EventFailure::Stage::Condition:
        EM_TRACE(3,
                 "pthread_cond_init(), CLOCK_MONOTONIC: ## ERROR ##: failed (ret=%d) on event %p <%s> "
                 "(IsSignaled=%d)\n",
                 failure.error, address, shown, initialState);
        break;
    case EventFailure::Stage::Mutex:
        EM_TRACE(3,
                 "pthread_mutex_init(), CLOCK_MONOTONIC: ## ERROR ##: failed (ret=%d) on event %p <%s> "
                 "(IsSignaled=%d)\n",
                 failure.error, address, shown, initialState);
        break;
    }
}

void traceJoined(const EventObject& event, bool manualReset) {
    EM_TRACE(3, "refCount for event %p <%s> incremented (IsSignaled=%d)\n", addressOf(event),
             shownEventName(event.name), event.signaled());
    if (event.manual() != manualReset) {
        EM_TRACE(1, "WARNING: manual setting mismatch for event %p <%s>\n", addressOf(event),
                 shownEventName(event.name));
    }
}

// The lines of the frequent operations stand apart: with the trace off these cost little more than their
// lock.
[[gnu::cold, gnu::noinline]] void traceSet(const EventObject& event) {
    EM_TRACE(5, "Set event %p <%s> IsSignaled=%d --> IsSignaled=1\n", addressOf(event),
             shownEventName(event.name), event.signaled());
}
[[gnu::cold, gnu::noinline]] void tracePulse(const EventObject& event) {
    EM_TRACE(5, "Pulse event %p <%s> IsSignaled=%d --> IsSignaled=0\n", addressOf(event),
             shownEventName(event.name), event.signaled());
}
[[gnu::cold, gnu::noinline]] void traceReset(const EventObject& event) {
    EM_TRACE(5, "Reset event %p <%s>: IsSignaled=%d --> IsSignaled=0\n", addressOf(event),
             shownEventName(event.name), event.signaled());
}
[[gnu::cold, gnu::noinline]] void traceCheck(const EventObject& event, bool signaled) {
    EM_TRACE(5, "Check event %p <%s> (IsSignaled=%d)\n", addressOf(event), shownEventName(event.name),
             signaled);
}

// Under the object lock. Null, and the reason, as createEventObject.
// Listed under the same hold of the lock: of two creators of a name one finds the other's event.
EventObject* createListed(bool initialState, bool manualReset, const char* name, EventFailure& failure) {
    EventObject* const event = createEventObject(initialState, manualReset, name, failure);
    if (event != nullptr && !eventState.value.names.Insert(name, event)) {
        tearDownEventObject(*event);
        delete event;
        failure = {};
        return nullptr;
    }
    return event;
}

// True when that was the last reference: the object is unlisted then, and this thread's to destroy.
// The line is written behind the lock, from a picture: the last owner may free the object as soon as it is
// left.
bool dropReference(EventObject& event) {
    std::optional<EventPicture> picture;
    {
        const RecursiveLockGuard guard(eventState.value.objectLock);
        if (event.refCount == 1) {
            event.refCount = 0;
            if (event.name != nullptr) {
                eventState.value.names.Remove(event.name, &event);
            }
            return true;
        }
        --event.refCount;
        if (traceWillWrite(5)) {
            picture.emplace(event);
        }
    }
    if (picture) {
        EM_TRACE(5, "decr refcount on event %p <%s> (IsSignaled=%d)\n", picture->address, picture->name(),
                 picture->signaled);
    }
    return false;
}

// Returns once nobody is blocked on the event, and with its mutex left by everybody.
void drain(EventObject& event) {
    while (underMutex(event, [&] { return event.waiters != 0; })) {
        sleepMs(kDrainPollMs);
    }
}

// Set and pulse. Nothing of the event is touched after the unlock: the woken thread may free it.
bool wake(EventObject& event, bool newState, void (*traceLine)(const EventObject&)) {
    const int error = underMutex(event, [&] {
        if (traceEnabled()) {
            traceLine(event);
        }
        // State and wake-up under one lock: a waiter that has looked and does not sleep yet would miss the
        // wake-up.
        event.setSignaled(newState);
        return event.wake();
    });
    sys::sched_yield(); // so that the woken thread runs promptly
    return error == 0;
}

} // namespace

// Delegating makes the handle whole first: a thread cancelled in a line below still releases its reference.
EventHandle::EventHandle(bool initialState, bool manualReset, const char* name) : EventHandle() {
    EventFailure failure;
    bool joined = false;
    EventObject* event = nullptr;
    if (name == nullptr) {
        event = createEventObject(initialState, manualReset, nullptr, failure);
    } else {
        const RecursiveLockGuard guard(eventState.value.objectLock);
        event = eventState.value.names.Find(name);
        joined = event != nullptr;
        if (joined) {
            ++event->refCount;
        } else {
            event = createListed(initialState, manualReset, name, failure);
        }
    }
    m_object = event;
    if (joined) {
        traceJoined(*event, manualReset);
    } else if (event == nullptr) {
        traceFailure(failure, name, initialState);
    } else {
        EM_TRACE(5, "creating event %p <%s> (IsSignaled=%d)\n", addressOf(*event), shownEventName(name),
                 event->signaled());
    }
}

// Under the object lock: the source's last release on another thread either sees this reference or has come
// first.
EventHandle::EventHandle(const EventHandle& source) : EventHandle() {
    EventObject* const event = source.m_object;
    if (event == nullptr) {
        return;
    }
    const RecursiveLockGuard guard(eventState.value.objectLock);
    m_object = event;
    ++event->refCount;
    EM_TRACE(5, "incr refcount on event %p <%s> (IsSignaled=%d,IsManual=%d)\n", addressOf(*event),
             shownEventName(event->name), event->signaled(), event->manual());
}

// The exchange lets one of two releases of a handle through. Drained before it is torn down: who was woken
// still has to leave the mutex.
void EventHandle::ReleaseEvent() noexcept {
    EventObject* const event = m_object.exchange(nullptr);
    if (event == nullptr) {
        return;
    }
    const CancellationDisabled noCancellation;
    if (!dropReference(*event)) {
        return;
    }
    drain(*event);
    tearDownEventObject(*event);
    EM_TRACE(5, "deleting event %p <%s> (IsSignaled=%d)\n", addressOf(*event), shownEventName(event->name),
             event->signaled());
    delete event;
}

// Without the event's mutex: it is for an event that nobody uses yet.
bool EventHandle::RecreateEvent(bool initialState, bool manualReset) {
    EventObject* const event = UsableObject();
    if (event == nullptr || event->waiters != 0) {
        return false;
    }
    if (event->signaled() != initialState || event->manual() != manualReset) {
        EM_TRACE(5,
                 "Create event %p <%s>, changing attributes (IsSignaled=%d,IsManual=%d) --> "
                 "(IsSignaled=%d,IsManual=%d)\n",
                 addressOf(*event), shownEventName(event->name), event->signaled(), event->manual(),
                 initialState, manualReset);
        event->setSignaled(initialState);
        event->isManual = manualReset;
    }
    return true;
}

bool EventHandle::CloseEvent() {
    EventObject* const event = UsableObject();
    if (event == nullptr) {
        return false;
    }
    EM_TRACE(5, "Close event %p <%s> IsSignaled=%d --> IsSignaled=1\n", addressOf(*event),
             shownEventName(event->name), event->signaled());
    // Closed first: a wait that begins from now on fails instead of taking what is for those that wait
    // already.
    m_closed = true;
    underMutex(*event, [event] { event->setSignaled(true); });
    return event->wake() == 0; // still there: this handle holds a reference
}

bool EventHandle::SetEvent() {
    EventObject* const event = UsableObject();
    return event != nullptr && wake(*event, true, traceSet);
}

bool EventHandle::PulseEvent() {
    EventObject* const event = UsableObject();
    return event != nullptr && wake(*event, false, tracePulse);
}

bool EventHandle::ResetEvent() {
    EventObject* const event = UsableObject();
    if (event == nullptr) {
        return false;
    }
    underMutex(*event, [event] {
        if (traceEnabled()) {
            traceReset(*event);
        }
        event->setSignaled(false);
    });
    return true;
}

bool EventHandle::CheckEvent() const {
    const EventObject* const event = UsableObject();
    if (event == nullptr) {
        return false;
    }
    const bool signaled = event->signaled();
    if (traceEnabled()) {
        traceCheck(*event, signaled);
    }
    return signaled;
}

int32_t EventHandle::WaitForEvent(uint32_t timeoutMs, bool trace) const {
    EventObject* const event = UsableObject();
    return event != nullptr ? waitOnEventObject(*event, timeoutMs, trace) : EVENT_FAILED;
}

} // namespace em

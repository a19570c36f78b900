#include "platform/events/event_object.h"

namespace em {
namespace {

using Stage = EventFailure::Stage;

// On failure nothing is left that would have to be taken down.
bool initialise(EventObject& event, EventFailure& failure) {
    ::pthread_condattr_init(&event.condAttr); // cannot fail: it allocates nothing
    failure.stage = Stage::Clock;
    failure.error = sys::pthread_condattr_setclock(&event.condAttr, CLOCK_MONOTONIC);
    if (failure.error == 0) {
        failure.stage = Stage::Condition;
        failure.error = sys::pthread_cond_init(&event.cond, &event.condAttr);
    }
    if (failure.error == 0) {
        failure.stage = Stage::Mutex;
        failure.error = sys::pthread_mutex_init(&event.mutex);
        if (failure.error == 0) {
            return true;
        }
        ::pthread_cond_destroy(&event.cond);
    }
    ::pthread_condattr_destroy(&event.condAttr);
    return false;
}

} // namespace

EventObject* createEventObject(bool signaled, bool manual, const char* name, EventFailure& failure) {
    failure = {};
    std::unique_ptr<EventObject> event(new (std::nothrow) EventObject(signaled, manual));
    if (event == nullptr) {
        return nullptr;
    }
    if (name != nullptr) {
        event->name = sys::strdup(name);
        if (event->name == nullptr) {
            return nullptr;
        }
    }
    failure.address = reinterpret_cast<uintptr_t>(event.get());
    return initialise(*event, failure) ? event.release() : nullptr;
}

void tearDownEventObject(EventObject& event) noexcept {
    ::pthread_cond_destroy(&event.cond);
    ::pthread_condattr_destroy(&event.condAttr);
    ::pthread_mutex_destroy(&event.mutex);
}

} // namespace em

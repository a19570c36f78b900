// What all events of the process share: the object lock and the table of names. Where both locks are held,
// the object lock was taken first.
#pragma once

#include "base/never_destroyed.h"
#include "base/recursive_lock.h"
#include "platform/events/named_event_table.h"

namespace em {

struct EventState {
    RecursiveLock objectLock; // guards reference counts, the creation and the last release of named events
    NamedEventTable names;

    void setUp() {
        objectLock.SetUp();
        names.SetUp();
    }
    void tearDown() noexcept {
        names.TearDown();
        objectLock.TearDown();
    }
};

// Built at compile time, set up by the library's load-time initialiser; anonymous events work without.
extern constinit NeverDestroyed<EventState> eventState;

} // namespace em

// One queued task.
#pragma once

#include <memory>
#include <utility>

#include "platform/events/event_handle.h"

namespace em {

template <class Content>
struct TaskRecord {
    EventHandle* hExternalEvent;              // set once the task was executed; the inserter's own, or null
    Content Message;                          // a deep copy of the inserter's
    std::unique_ptr<TaskRecord> pNextDropped; // links the records of a purge until they are freed
};

// Frees a list of dropped records without recursion. Their events are not set.
template <class Content>
void freeDropped(std::unique_ptr<TaskRecord<Content>> first) {
    while (first) {
        first = std::move(first->pNextDropped);
    }
}

} // namespace em

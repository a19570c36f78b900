// The wait of one thread on one event.
#pragma once

#include <cstdint>

namespace em {

struct EventObject;

// EventHandle::WaitForEvent for an object that is there. When the call returns, or its thread is cancelled in
// it, the object may be gone already.
int32_t waitOnEventObject(EventObject& event, uint32_t timeoutMs, bool trace);

} // namespace em

#include "shutdown/stop_signal.h"

#include <algorithm>

#include "base/clock.h"
#include "platform/events/event_handle.h"

namespace em {
namespace {

constexpr uint32_t kFailedWaitSliceMs = 100;

} // namespace

void StopSignal::sleepOn(EventHandle& event, uint64_t spanMs, bool wakeUps) const {
    const int64_t begin = Deadline::nowNs();
    const Deadline deadline(begin, spanMs);
    uint32_t left = deadline.remainingMs(begin); // the whole span, however slow this thread is
    do {
        const int32_t end = event.WaitForEvent(left, true);
        if (m_raised || end == EVENT_TIMEOUT || (end == EVENT_SIGNALED && wakeUps)) {
            return;
        }
        // An event that could not be created fails at once: without the pause this would spin.
        if (end == EVENT_FAILED) {
            sleepMs(std::min(left, kFailedWaitSliceMs));
        }
        left = deadline.remainingMs();
    } while (left != 0);
}

MaintenanceMode StopSignal::queryMaintenanceMode() const {
    const auto stopped = [](void* signal) { return static_cast<const StopSignal*>(signal)->isRaised(); };
    return getMaintenanceMode(stopped, const_cast<StopSignal*>(this));
}

} // namespace em

// Stop has begun: what the module's threads look at, and how they sleep so that it ends them at once.
// Why: docs/decisions/order-of-stop.md, docs/decisions/delay-waits-again.md
#pragma once

#include <atomic>
#include <cstdint>

#include "shutdown/maintenance_mode.h"

namespace em {

class EventHandle;

class StopSignal {
public:
    // For good. Whoever raises it sets the events that sleepers wait on afterwards.
    void raise() { m_raised = true; }
    [[nodiscard]] bool isRaised() const { return m_raised; }

    // Sleeps on the event until the time is over or Stop has begun. A wake-up without Stop ends the sleep
    // only where that does no harm (wakeUps = true).
    void sleepOn(EventHandle& event, uint64_t spanMs, bool wakeUps) const;

    // Asks for the maintenance mode; Stop cuts the query short.
    [[nodiscard]] MaintenanceMode queryMaintenanceMode() const;

private:
    // Sequentially consistent on purpose: the flag first, then the event that announces it.
    std::atomic<bool> m_raised{false};
};

} // namespace em

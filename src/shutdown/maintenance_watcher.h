// Tells the host each time the hypervisor's maintenance mode changes.
#pragma once

namespace em {

class EventHandle;
class HostMessages;
class StopSignal;

// The body of the watcher thread: a query a second, until Stop. A mode that is already set at the start is
// reported as a change; a message that the host did not take is not repeated.
class MaintenanceWatcher {
public:
    // The event is the watcher's own: it sleeps on it between two passes.
    MaintenanceWatcher(HostMessages& host, const StopSignal& stop, EventHandle& event)
        : m_host(host), m_stop(stop), m_event(event) {}
    void run();

private:
    void pass();
    void sleep();

    HostMessages& m_host;
    const StopSignal& m_stop;
    EventHandle& m_event;
    bool m_enabled = false; // the last known mode
};

} // namespace em

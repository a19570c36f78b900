// Powers the server off at the time of day that the host keeps for the week day.
#pragma once

#include <optional>

namespace em {

class EventHandle;
class HostMessages;
class ShutdownProgress;
class StopSignal;

// A time of day.
struct OffTime {
    unsigned hour;
    unsigned minute;
};

// The body of the worker thread: a query, a comparison and a sleep, until Stop.
class PowerOffWorker {
public:
    // The event is the worker's own: it sleeps on it between two passes.
    PowerOffWorker(HostMessages& host, ShutdownProgress& progress, const StopSignal& stop, EventHandle& event)
        : m_host(host), m_progress(progress), m_stop(stop), m_event(event) {}
    void run();

private:
    [[nodiscard]] bool pass();
    [[nodiscard]] std::optional<OffTime> askOffTime(int weekDay);
    void raiseRequest(const OffTime& off);
    void sleep(bool raised);

    HostMessages& m_host;
    ShutdownProgress& m_progress;
    const StopSignal& m_stop;
    EventHandle& m_event;
};

} // namespace em

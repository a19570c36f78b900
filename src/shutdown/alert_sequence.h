// The shutdown alert sequence: from an accepted request to the command that ends the system.
#pragma once

#include <cstdint>
#include <string>

#include "shutdown/shutdown_progress.h"

namespace em {

class EventHandle;
class StopSignal;

// One object a request, run once, on the task handler thread. It reads as the list of its steps in run();
// each step tells only whether the sequence goes on or how it ended.
class AlertSequence {
public:
    // What the sequence works with; all of it outlives it.
    struct Means {
        HostMessages& host;
        ShutdownProgress& progress;
        COSShutdown& executor;
        TaskQueue& queue;
        const StopSignal& stop;
        EventHandle& delayEvent; // set by Stop only
    };

    AlertSequence(const Means& means, SipJson& request) : m_means(means), m_request(request) {}
    void run();

private:
    enum class Outcome {
        GoOn,
        Ended,   // cancelled, or refused at the gate
        Stopped, // Stop has begun: no command, but the status and the queue end as after one
    };

    Outcome prepare(); // all that comes before the command; what it throws aborts the shutdown
    Outcome execute(); // from the command on
    void finish();

    void announce();
    [[nodiscard]] bool passesGate();
    void acceptRequest();
    void readReason();
    void readDelays();
    void waitDelay();
    [[nodiscard]] bool endsCancelled();
    void announceShutdown();
    void runJob();
    void shutDown();

    void announcePowerOff();
    std::string catalogueText() const;
    std::string tableText() const;

    const Means m_means;
    SipJson& m_request;
    uint8_t m_reason = 0;
    std::string m_reasonText;
    uint32_t m_delay = 0;      // seconds
    uint32_t m_forceDelay = 0; // seconds
    std::string m_message;
};

} // namespace em

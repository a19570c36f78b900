// One sandbox with a rehearsal in it, from its start to its end: what it tells is shown, what the job prints
// is kept, and a signal is handed on.
#pragma once

#include <optional>

#include "host/common/failure.h"
#include "host/launch/inside_half.h"
#include "host/launch/interruption.h"
#include "host/launch/output_tail.h"
#include "host/launch/run_view.h"
#include "host/rehearsal/event_channel.h"
#include "host/rehearsal/rehearsal_options.h"

namespace volad_dev {

// One thread.
class RehearsalSession {
public:
    // Starts it. longest: seconds after which it is ended from outside. Throws Failure.
    RehearsalSession(const LaunchOptions& options, const Interruption& interruption, RunView& view,
                     double longest);

    // Until the sandbox is gone. Throws Failure where there was no run.
    [[nodiscard]] ShutdownRun follow();
    // What the job printed.
    [[nodiscard]] const OutputTail& output() const { return m_output; }

private:
    void watch();
    [[nodiscard]] int waitingMs() const;
    void takeInterruption();
    [[nodiscard]] ShutdownRun runOf(int code) const;

    const Interruption& m_interruption;
    RunView& m_view;
    OutputTail m_output;
    InsideHalf m_half;
    EventReceiver m_receiver;
    bool m_interrupted = false;
    double m_until; // on the monotonic clock
    std::optional<ShutdownRun> m_lastSeen, m_concluded;
    std::optional<Failure> m_failure;
};

} // namespace volad_dev

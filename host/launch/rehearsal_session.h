// One sandbox with a rehearsal in it, from its start to its end: what it tells is shown, what the job prints
// is kept, and a signal is handed on.
#pragma once

#include <memory>
#include <optional>

#include "host/common/failure.h"
#include "host/common/pipe.h"
#include "host/launch/interruption.h"
#include "host/launch/output_tail.h"
#include "host/launch/run_view.h"
#include "host/rehearsal/event_channel.h"
#include "host/rehearsal/rehearsal_options.h"
#include "host/sandbox/sandbox.h"

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
    // False at the end of the pipe.
    [[nodiscard]] bool takeEvents();
    void takeOutput();
    [[nodiscard]] int end();
    [[nodiscard]] ShutdownRun runOf(int code) const;

    const Interruption& m_interruption;
    RunView& m_view;
    Pipe m_stop, m_events, m_printed;
    std::unique_ptr<SandboxedCommand> m_command;
    EventReceiver m_receiver;
    OutputTail m_output;
    bool m_interrupted = false;
    double m_until; // on the monotonic clock
    std::optional<ShutdownRun> m_lastSeen, m_concluded;
    std::optional<Failure> m_failure;
};

} // namespace volad_dev

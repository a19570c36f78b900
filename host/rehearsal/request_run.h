// Sends a request into a started module and follows it to its end.
#pragma once

#include <atomic>
#include <functional>
#include <optional>

#include "host/hosting/development_host.h"
#include "host/rehearsal/rehearsal_options.h"
#include "host/rehearsal/run_reading.h"
#include "host/rehearsal/started_commands.h"
#include "host/run/run.h"
#include "host/sandbox/command_record.h"

namespace em {
class CIExtensionModule;
}

namespace volad_dev {

// What a run may take beyond what the settings ask for, in seconds.
struct RunLimits {
    double slack = 60; // the time-outs of the module's own
    double schedule =
        60 + 30; // the minute that a schedule names, and the pass of the module in which it sees that
};

// Which end the options ask for.
[[nodiscard]] RunEnd askedEnd(const RehearsalOptions& options);

class RequestRun {
public:
    // requestTime: where the time of the request goes as soon as it is known, for the trace; 0 until then.
    // scheduledIn: seconds until the module shall raise the request by itself; nothing: the request is sent.
    // progress: told how far the run is, whenever that has changed.
    RequestRun(const RehearsalOptions& options, const Settings& settings, DevelopmentHost& host,
               em::CIExtensionModule& module, std::atomic<double>& requestTime,
               std::optional<double> scheduledIn, std::function<void(const ShutdownRun&)> progress,
               RunLimits limits = {});

    // Returns when the run has ended, or when the module shall be stopped now.
    void follow();
    // After the module was stopped: waits, with a bound, for a command that may still be on its way.
    [[nodiscard]] ShutdownRun conclude();

private:
    void sendRequest();
    void sendCancel() const;
    void begin(double requestTime);
    void noticeScheduledRequest();
    [[nodiscard]] bool actWhenDue();
    [[nodiscard]] bool hasEnded() const;
    [[nodiscard]] bool waitForNews() const;
    [[nodiscard]] RunEnd finalEnd();

    [[nodiscard]] StartedCommands commands() const;
    [[nodiscard]] bool startedSomething() const;
    [[nodiscard]] Sighted sighted(const StartedCommands& commands) const;
    void report() const;

    const RehearsalOptions& m_options;
    const Settings& m_settings;
    DevelopmentHost& m_host;
    em::CIExtensionModule& m_module;
    std::atomic<double>& m_requestTime;
    const std::function<void(const ShutdownRun&)> m_progress;
    const RunLimits m_limits;
    const CommandRecorder m_recorder;
    // On the monotonic clock, each until it is over.
    std::optional<double> m_cancelAt, m_stopAt;
    double m_limit; // longer than the run can take
    const bool m_scheduled;
    const Asked m_asked; // once: the reason's text is searched in the message file
    bool m_stopAsked = false;
    std::optional<RunEnd> m_end; // what the messages do not tell
};

} // namespace volad_dev

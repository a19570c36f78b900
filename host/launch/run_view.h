// What is shown of a run while it goes on, and its verdict at the end. On a terminal the phase that is on is
// counted down; elsewhere each line is final.
#pragma once

#include <optional>
#include <string>

#include "host/hosting/settings.h"
#include "host/launch/output_tail.h"
#include "host/run/run.h"

namespace volad_dev {

// A write that fails does not end the run.
class RunView {
public:
    struct Options {
        bool silent = false;  // standard output is somebody else's
        bool live = false;    // a terminal
        bool jobOnly = false; // no phases, no verdict but the job's
    };
    // The settings tell what delay and job may take; reason 1 has no delay.
    RunView(Options options, const Settings& settings);
    ~RunView() { clearLive(); }
    RunView(const RunView&) = delete;
    RunView& operator=(const RunView&) = delete;

    void trace(const std::string& line);
    // How far the run is; the last phase is on.
    void progress(const ShutdownRun& run);
    // Time has passed since. Live only.
    void tick();
    // What is waited for while there is no run yet. Live only.
    void waitingFor(const std::string& what);
    // The module is being stopped; what it may still wait for.
    void interrupted();
    void conclude(const ShutdownRun& run, const OutputTail& output);

    [[nodiscard]] bool isLive() const { return m_options.live; }
    // Seconds that a job which is running has left, 0 without one.
    [[nodiscard]] double jobLeft() const;

private:
    void print(const std::string& text);
    void printLive(const std::string& line);
    void clearLive();
    void printBegun(const ShutdownRun& run);
    void printEnded(const ShutdownRun& run, size_t count);
    [[nodiscard]] bool isJobOn() const;
    [[nodiscard]] std::string current(double since) const;

    const Options m_options;
    const double m_delay;
    const double m_jobLimit;
    const bool m_jobNamed;
    bool m_begun = false;
    bool m_liveShown = false;
    size_t m_phasesShown = 0;
    std::optional<ShutdownRun> m_run;
    double m_at = 0; // when that came
};

// Whether standard output is a terminal that takes this: not a dumb one, and nobody asked for plain text.
[[nodiscard]] bool standardOutputIsLive();

} // namespace volad_dev

// One shutdown while its lines are read: what they have told so far, and what follows from it at the end.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "contract/shutdown_actions.h"
#include "host/run/known_run.h"
#include "host/run/trace_prefix.h"

namespace volad_dev {

class RunCourse {
public:
    static constexpr std::string_view kStop = "Stop"; // shut the queue

    // The time of the line that is being read, if it has one, and the level at which it is written.
    void lineRead(const std::optional<TraceTime>& time, unsigned level);

    void asked(std::string_view by) { m_run.by = by; }
    void nameOperation(const em::ShutdownAction& action) { m_run.operation = action.name; }
    void cancelAsked();
    void addMessage(bool toModule, std::string envelope);
    void addStatus(uint8_t status);

    // Begins: by the line that is the phase's first. Else it began before, where no phase was known.
    void enter(std::string_view phase, bool begins = true);
    void closePhase();
    [[nodiscard]] bool isIn(std::string_view phase) const;
    [[nodiscard]] bool hasBeenIn(std::string_view phase) const;

    void beginJob(std::string_view command, bool begins);
    void endJob(KnownJob::End end, std::optional<int> error = std::nullopt);
    void beginCommand(std::string_view line);

    // What is known now and not only in the end.
    KnownRun& run() { return m_run; }

    // What decides how it ended.
    struct Facts {
        bool isTask = false;
        std::string_view queueShutBy; // as it came, or while it waited
        bool queueShutAtEnd = false;  // the latter
        bool gateRefused = false, cancelled = false, exception = false, stopping = false;
        bool performing = false; // past the delay
        bool notRoot = false, commandFailed = false, finished = false;
        std::optional<std::string> refusal; // why it never became a task
    };
    Facts facts;
    uint64_t place = 0;                    // among all shutdowns
    std::optional<uint32_t> operationCode; // of the message that asked for it
    bool awaitsAnswer = false;             // its "(RET)" line has not come
    bool awaitsQueue = false;              // nor what the queue made of it
    std::optional<uint32_t> jobLimit;      // before the job is there
    std::optional<std::string> jobDirectory;

    [[nodiscard]] KnownRun conclude();

private:
    [[nodiscard]] std::optional<double> now() const;
    void concludeTask();
    void concludeWaiting();

    KnownRun m_run;
    std::optional<TraceTime> m_last; // its text is the run's, and not kept here
    double m_elapsed = 0;            // up to then
    bool m_timed = false;            // the line that is being read
    bool m_clockSetInPhase = false;  // the clock, in the phase that is on
};

} // namespace volad_dev

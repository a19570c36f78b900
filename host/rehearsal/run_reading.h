// A run as read from what the module and the host told each other, what was recorded, and what was seen of
// the job. Nothing is read from the trace: it may be off, and its lines are the module's own.
#pragma once

#include <optional>
#include <vector>

#include "host/hosting/job_watch.h"
#include "host/hosting/journal.h"
#include "host/hosting/settings.h"
#include "host/run/run.h"
#include "host/sandbox/command_record.h"

namespace volad_dev {

// All times on the monotonic clock.
struct Sighted {
    std::vector<Message> messages;
    std::optional<JobSighting> job;
    std::optional<CommandRecord> command; // the one that would have ended the system
    double requestTime = 0;
};

// The last status that the module reported, 0 when none.
[[nodiscard]] uint8_t lastStatus(const std::vector<Message>& messages);
// Where the module stands at the end of a run, nothing while it is still on it.
[[nodiscard]] std::optional<RunEnd> endOf(const std::vector<Message>& messages, bool stopAsked,
                                          bool commandSeen);

// When a run that has ended did so: at the command, else with the last status.
[[nodiscard]] double endTime(const Sighted& sighted);
// Splits the time from the request to `until` at the messages that begin a stage, and at the job's end.
[[nodiscard]] std::vector<Phase> phasesOf(const Sighted& sighted, double until);

// Messages, statuses, phases, job (without its output) and command.
void readRun(const Sighted& sighted, const Settings& settings, double until, ShutdownRun& run);

} // namespace volad_dev

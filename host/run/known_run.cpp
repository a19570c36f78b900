#include "host/run/known_run.h"

#include <algorithm>

#include "host/run/run.h"

namespace volad_dev {
namespace {

struct CauseOfEnd {
    RunEnd end;
    RunCause cause;
};
constexpr CauseOfEnd kCausesOfEnds[] = {
    {RunEnd::Command, RunCause::CommandStarted}, {RunEnd::GateRefused, RunCause::GateClosed},
    {RunEnd::Cancelled, RunCause::Cancelled},    {RunEnd::Stopped, RunCause::Stopped},
    {RunEnd::NotPermitted, RunCause::NotRoot},   {RunEnd::NotAccepted, RunCause::NeverATask},
};

std::optional<double> length(double seconds) {
    return seconds >= 0 ? soundTime(seconds) : std::nullopt;
}

KnownJob knownJob(const JobRun& job) {
    KnownJob known;
    known.command = job.command;
    known.directory = job.directory.empty() ? std::nullopt : std::optional(job.directory);
    known.started = job.started;
    const bool ended = job.exitCode || job.signal;
    known.end = job.timedOut ? KnownJob::End::TimedOut
                : ended      ? KnownJob::End::Ended
                             : KnownJob::End::NotWaited;
    known.exitCode = job.exitCode;
    known.signal = job.signal;
    known.seconds = length(job.seconds);
    known.output = job.output;
    return known;
}

} // namespace

KnownRun knownRun(const ShutdownRun& run) {
    KnownRun known;
    known.end = run.end;
    const auto* const row =
        std::find_if(std::begin(kCausesOfEnds), std::end(kCausesOfEnds),
                     [&](const CauseOfEnd& candidate) { return candidate.end == run.end; });
    known.cause = row == std::end(kCausesOfEnds) ? RunCause::None : row->cause;
    known.by = run.asked.by;
    known.operation = run.asked.operation;
    known.reason = run.asked.reason;
    known.reasonText = run.asked.reasonText;
    known.asAsked = run.asAsked;
    known.gateAssumed = run.gate.assumed;
    known.gateHere = run.gate.here;
    known.hasJob = run.job.has_value();
    if (run.job) {
        known.job = knownJob(*run.job);
    }
    if (run.command) {
        known.command =
            KnownCommand{run.command->line, soundTime(run.command->seconds), run.command->directory};
    }
    for (const Phase& phase : run.phases) {
        known.phases.push_back({phase.name, soundTime(phase.start), length(phase.seconds)});
    }
    for (const RunMessage& message : run.messages) {
        known.messages.push_back({soundTime(message.at), message.toModule, message.envelope});
    }
    for (const RunStatus& status : run.statuses) {
        known.statuses.push_back({soundTime(status.at), status.value});
    }
    known.left = run.left;
    known.warnings = run.warnings;
    return known;
}

} // namespace volad_dev

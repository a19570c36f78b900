#include "host/rehearsal/run_reading.h"

#include <sys/wait.h>

#include <algorithm>
#include <array>

#include "contract/operation_codes.h"
#include "contract/settings.h"
#include "contract/shutdown_status.h"

namespace volad_dev {
namespace {

using em::ShutdownStatus;

// A stage and the message to the host with which it ends. data counts where it is not kAny.
constexpr uint32_t kAny = 0xFFFFFFFF;
struct Landmark {
    const char* stage;
    uint32_t opcode, extension, data;
};
constexpr std::array<Landmark, 4> kLandmarks = {
    {{"gate", em::opcode::kShutdownStatusChanged, 0, static_cast<uint32_t>(ShutdownStatus::DelayRunning)},
     {"settings", em::opcode::kHostSettings, em::setting::kForceDelay.item, kAny},
     {"delay", em::opcode::kHostSettings, em::setting::kJobName.item, kAny},
     {"job settings", em::opcode::kHostSettings, em::setting::kJobTimeout.item, kAny}}};
constexpr const char* kJobStage = "job";
constexpr const char* kLastStage = "command";

// What a shell exits with when it did not find a command, or could not run it.
constexpr int kNotFound = 127;
constexpr int kNotExecutable = 126;

bool isStatus(const Message& message) {
    return message.opcode == em::opcode::kShutdownStatusChanged && !message.toModule;
}

bool isReported(const std::vector<Message>& messages, ShutdownStatus status) {
    return std::any_of(messages.begin(), messages.end(), [status](const Message& message) {
        return isStatus(message) && message.data == static_cast<uint32_t>(status);
    });
}

// The module goes on: it has said so to the host since it began to wait for the job, or started the command.
// A cancel's status comes from another thread, and tells nothing of the job.
bool isPastJob(const Sighted& sighted) {
    const double begin = sighted.job->begin;
    return sighted.job->status || sighted.command ||
           std::any_of(sighted.messages.begin(), sighted.messages.end(), [begin](const Message& message) {
               const bool goesOn =
                   message.opcode == em::opcode::kSetPowerOffReason ||
                   (isStatus(message) && message.data != static_cast<uint32_t>(ShutdownStatus::Cancelled));
               return goesOn && !message.toModule && message.time > begin;
           });
}

void readJob(const Sighted& sighted, const Settings& settings, double until, ShutdownRun& run) {
    if (!sighted.job) {
        return;
    }
    const JobSighting& seen = *sighted.job;
    JobRun job;
    job.command = settings.jobName.value_or("").substr(0, em::kLongestJob);
    job.directory = seen.directory;
    if (seen.status && WIFEXITED(*seen.status)) {
        job.exitCode = WEXITSTATUS(*seen.status);
    } else if (seen.status) {
        job.signal = WTERMSIG(*seen.status);
    }
    const int code = job.exitCode.value_or(0);
    job.started = code != kNotFound && code != kNotExecutable;
    job.timedOut = !seen.status && isPastJob(sighted);
    job.seconds = (isPastJob(sighted) ? seen.lastLook : until) - seen.begin;
    run.job = job;
}

} // namespace

uint8_t lastStatus(const std::vector<Message>& messages) {
    const auto last = std::find_if(messages.rbegin(), messages.rend(), isStatus);
    return last == messages.rend() ? 0 : static_cast<uint8_t>(last->data);
}

std::optional<RunEnd> endOf(const std::vector<Message>& messages, bool stopAsked, bool commandSeen) {
    const auto status = static_cast<ShutdownStatus>(lastStatus(messages));
    // Its own cancel comes before the abort that every cancel ends in; a refusal at the gate has the abort
    // alone.
    if (status == ShutdownStatus::Aborted) {
        return commandSeen                                       ? RunEnd::Command
               : isReported(messages, ShutdownStatus::Cancelled) ? RunEnd::Cancelled
                                                                 : RunEnd::GateRefused;
    }
    // The module says "executing" once the command was started, and also where Stop kept it from that: only
    // the record knows.
    if (status == ShutdownStatus::Executing) {
        return commandSeen ? RunEnd::Command : stopAsked ? RunEnd::Stopped : RunEnd::NotPermitted;
    }
    return std::nullopt;
}

double endTime(const Sighted& sighted) {
    if (sighted.command) {
        return sighted.command->monotonic;
    }
    double end = sighted.requestTime;
    for (const Message& message : sighted.messages) {
        end = isStatus(message) ? std::max(end, message.time) : end;
    }
    return end;
}

std::vector<Phase> phasesOf(const Sighted& sighted, double until) {
    std::vector<Phase> phases;
    double begin = sighted.requestTime;
    const auto add = [&](const char* stage, double end) {
        phases.push_back({stage, begin - sighted.requestTime, std::max(0.0, end - begin)});
        begin = end;
    };
    auto from = sighted.messages.begin();
    for (const Landmark& landmark : kLandmarks) {
        from = std::find_if(from, sighted.messages.end(), [&](const Message& message) {
            return !message.toModule && message.time >= sighted.requestTime &&
                   message.opcode == landmark.opcode && message.extension == landmark.extension &&
                   (landmark.data == kAny || message.data == landmark.data);
        });
        // The run is, or ended, within this stage, and what would follow did not begin.
        if (from == sighted.messages.end() || from->time > until) {
            add(landmark.stage, until);
            return phases;
        }
        add(landmark.stage, from->time);
    }
    if (sighted.job) {
        add(kJobStage, isPastJob(sighted) ? sighted.job->lastLook : until);
        if (!isPastJob(sighted)) {
            return phases;
        }
    }
    add(kLastStage, until);
    return phases;
}

void readRun(const Sighted& sighted, const Settings& settings, double until, ShutdownRun& run) {
    for (const Message& message : sighted.messages) {
        const double at = message.time - sighted.requestTime;
        run.messages.push_back({at, message.toModule, message.envelope});
        if (isStatus(message)) {
            run.statuses.push_back({at, static_cast<uint8_t>(message.data)});
        }
    }
    run.phases = phasesOf(sighted, until);
    readJob(sighted, settings, until, run);
    if (const std::optional<CommandRecord>& command = sighted.command) {
        run.command =
            CommandRun{command->commandLine(), command->monotonic - sighted.requestTime, command->directory};
    }
}

} // namespace volad_dev

#include "host/run/run_course.h"

#include <algorithm>
#include <utility>

#include "contract/reasons.h"
#include "contract/settings.h"

namespace volad_dev {
namespace {

constexpr size_t kMostKept =
    200; // messages or statuses of one shutdown: a host may ask for its state for hours

// Threads write their lines at once, and not always in the order of their times.
constexpr double kDisorder = 0.1; // seconds

// What the module makes of a job without a directory of its own; empty where it stays in the host's.
std::string directoryOf(std::string_view command) {
    const size_t slash = command.rfind('/');
    return std::string(slash == std::string_view::npos || slash == 0 ? "" : command.substr(0, slash));
}

// The number of a reason whose text no other has: what a trace below level 3 tells of it.
std::optional<uint8_t> reasonNamed(std::string_view text) {
    std::optional<uint8_t> found;
    for (unsigned reason = 0; reason < 256; ++reason) {
        if (em::lookUpReason(static_cast<uint8_t>(reason)).text == text) {
            if (found) {
                return std::nullopt;
            }
            found = static_cast<uint8_t>(reason);
        }
    }
    return found;
}

} // namespace

void RunCourse::lineRead(const std::optional<TraceTime>& time, unsigned level) {
    m_run.level = std::max(m_run.level.value_or(0), level);
    if (time && !m_last) {
        m_run.when = time->text;
        m_last = TraceTime{time->clock, time->seconds, {}};
    }
    const std::optional<double> passed = time ? secondsBetween(*m_last, *time) : std::nullopt;
    m_timed = passed.has_value();
    if (!passed) {
        return;
    }
    m_last->seconds = time->seconds;
    if (*passed < -kDisorder || *passed > kLongestTime) {
        m_run.clockSet = true;
        m_clockSetInPhase = true;
    } else {
        m_elapsed += std::max(0.0, *passed);
    }
}

std::optional<double> RunCourse::now() const {
    return m_timed ? std::optional(m_elapsed) : std::nullopt;
}

void RunCourse::cancelAsked() {
    m_run.cancelled = now();
}

void RunCourse::addMessage(bool toModule, std::string envelope) {
    if (m_run.messages.size() < kMostKept) {
        m_run.messages.push_back({now(), toModule, std::move(envelope)});
    }
}

void RunCourse::addStatus(uint8_t status) {
    if (m_run.statuses.size() < kMostKept) {
        m_run.statuses.push_back({now(), status});
    }
}

// A phase that is entered again goes on.
void RunCourse::enter(std::string_view phase, bool begins) {
    if (isIn(phase)) {
        return;
    }
    closePhase();
    m_clockSetInPhase = false;
    const bool known = begins || !m_run.phases.empty();
    m_run.phases.push_back({std::string(phase), known ? now() : std::nullopt, std::nullopt});
}

void RunCourse::closePhase() {
    if (m_run.phases.empty() || m_run.phases.back().seconds) {
        return;
    }
    KnownPhase& last = m_run.phases.back();
    const std::optional<double> end = now();
    if (last.start && end && !m_clockSetInPhase) {
        last.seconds = *end - *last.start;
    }
}

bool RunCourse::isIn(std::string_view phase) const {
    return !m_run.phases.empty() && m_run.phases.back().name == phase;
}

bool RunCourse::hasBeenIn(std::string_view phase) const {
    return std::ranges::find(m_run.phases, phase, &KnownPhase::name) != m_run.phases.end();
}

void RunCourse::beginJob(std::string_view command, bool begins) {
    enter("job", begins);
    m_run.hasJob = true;
    KnownJob& job = m_run.job.emplace();
    job.command = command;
    job.limit = jobLimit;
    if (jobDirectory) {
        job.directory = jobDirectory->empty() ? directoryOf(command) : *jobDirectory;
    }
}

void RunCourse::endJob(KnownJob::End end, std::optional<int> error) {
    m_run.hasJob = true;
    if (!m_run.job) { // what it was was cut off
        enter("job", false);
        enter("command");
        return;
    }
    KnownJob& job = *m_run.job;
    job.end = end == KnownJob::End::Ended && job.limit == 0U ? KnownJob::End::NotWaited : end;
    job.error = error;
    enter("command");
    job.seconds = m_run.phases.size() > 1 ? m_run.phases[m_run.phases.size() - 2].seconds : std::nullopt;
}

void RunCourse::beginCommand(std::string_view line) {
    enter("command");
    closePhase();
    m_run.command = KnownCommand{std::string(line), now(), std::nullopt};
}

KnownRun RunCourse::conclude() {
    if (!m_run.reason && m_run.reasonText) {
        m_run.reason = reasonNamed(*m_run.reasonText);
    }
    if (m_run.by == "request" && m_run.reason == em::kReasonPowerSwitch) {
        m_run.by = "power-switch";
    }
    facts.isTask ? concludeTask() : concludeWaiting();
    return std::move(m_run);
}

void RunCourse::concludeTask() {
    struct Ending {
        bool is;
        RunEnd end;
        RunCause cause;
    };
    const bool started = m_run.command.has_value();
    // The first that holds: what was started cannot be taken back, and what the host is told comes last.
    const Ending endings[] = {
        {started && facts.cancelled, RunEnd::Command, RunCause::CancelledTooLate},
        {started && facts.exception, RunEnd::Command, RunCause::Exception},
        {started, RunEnd::Command, RunCause::CommandStarted},
        {facts.exception, RunEnd::Interrupted, RunCause::Exception},
        {facts.gateRefused, RunEnd::GateRefused, RunCause::GateClosed},
        {facts.commandFailed, RunEnd::NotPermitted, RunCause::CommandFailed},
        {facts.notRoot, RunEnd::NotPermitted, RunCause::NotRoot},
        {facts.cancelled, RunEnd::Cancelled, RunCause::Cancelled},
        {!facts.performing && (facts.finished || facts.stopping), RunEnd::Stopped, RunCause::Stopped},
    };
    for (const Ending& ending : endings) {
        if (ending.is) {
            m_run.end = ending.end;
            m_run.cause = ending.cause;
            return;
        }
    }
}

void RunCourse::concludeWaiting() {
    if (!facts.refusal && facts.queueShutAtEnd && facts.queueShutBy == kStop) {
        facts.refusal = "the module was stopped before it began";
    } else if (!facts.refusal && !facts.queueShutBy.empty()) {
        facts.refusal = std::string(facts.queueShutBy) + " had shut the queue";
    }
    if (facts.refusal) {
        m_run.end = RunEnd::NotAccepted;
        m_run.cause = RunCause::NeverATask;
        m_run.causeDetail = *facts.refusal;
    }
}

} // namespace volad_dev

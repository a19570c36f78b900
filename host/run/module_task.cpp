// What a module works on: the lines of its task, from the gate to the command.
#include <algorithm>

#include "contract/settings.h"
#include "contract/shutdown_actions.h"
#include "host/run/module_life.h"

namespace volad_dev {
namespace {

std::optional<uint32_t> unsignedAt(const TraceFields& fields, size_t index, int base = 10) {
    const std::optional<int64_t> value = fields.number(index, base);
    return value ? std::optional(static_cast<uint32_t>(*value)) : std::nullopt;
}

bool isForced(std::string_view command) {
    return std::any_of(
        em::kShutdownActions.begin(), em::kShutdownActions.end(),
        [command](const em::ShutdownAction& action) { return command == action.forcedCommand; });
}

const em::ShutdownAction* actionOfCommand(std::string_view command) {
    for (const em::ShutdownAction& action : em::kShutdownActions) {
        if (command == action.command || command == action.forcedCommand) {
            return &action;
        }
    }
    return nullptr;
}

} // namespace

void ModuleLife::onTask(const TraceLine& /*line*/) {
    finishCurrent();
    dropRefused();
    if (!m_waiting.empty()) {
        m_current = std::move(m_waiting.front());
        m_waiting.pop_front();
        m_current->awaitsQueue = false;
    }
    begun().enter("gate");
}

void ModuleLife::onGate(const TraceLine& /*line*/) {
    RunCourse& course = current();
    course.facts.gateRefused = true;
    course.run().gateOpen = false;
    course.closePhase();
}

void ModuleLife::onReason(const TraceLine& line) {
    RunCourse& course = current();
    course.run().gateOpen = true;
    if (line.kind->event == TraceEvent::ReasonNumber) {
        const auto reason = unsignedAt(line.fields, 0, 16);
        course.run().reason = reason ? std::optional(static_cast<uint8_t>(*reason)) : std::nullopt;
        course.enter("settings", false);
        return;
    }
    course.run().reasonText = line.fields.text(0);
    if (!course.isIn("settings")) {
        course.enter("delay", false); // no line tells them apart at this level
    }
}

void ModuleLife::onDelay(const TraceLine& line) {
    RunCourse& course = current();
    switch (line.kind->event) {
    case TraceEvent::DelayGiven:
        course.run().delay = unsignedAt(line.fields, 0);
        break;
    case TraceEvent::NoDelayGiven:
        course.run().delay = em::setting::kShutdownDelay.fallback;
        break;
    case TraceEvent::ForceDelay:
        course.enter("delay");
        break;
    default: // begins, or is over: how long it was to be
        course.run().delay = unsignedAt(line.fields, 0);
        course.enter("delay", line.kind->event == TraceEvent::DelayBegins);
    }
}

// The line of a cancel comes in one of two places: behind the delay, or behind the command.
void ModuleLife::onPastDelay(const TraceLine& line) {
    RunCourse& course = current();
    course.run().gateOpen = true;
    if (line.kind->event == TraceEvent::EndsCancelled) {
        course.facts.cancelled = true;
        course.closePhase();
    } else {
        course.facts.performing = true;
        course.enter("job settings");
    }
}

void ModuleLife::onJobSetting(const TraceLine& line) {
    RunCourse& course = current();
    switch (line.kind->event) {
    case TraceEvent::JobDirectory:
        course.jobDirectory = line.fields.text(0);
        break;
    case TraceEvent::JobLimit:
        course.jobLimit = unsignedAt(line.fields, 0);
        break;
    case TraceEvent::NoJob:
        course.run().hasJob = false;
        course.enter("command");
        break;
    default:
        course.run().hasJob = true;
    }
}

void ModuleLife::onJobEnd(const TraceLine& line) {
    RunCourse& course = current();
    if (line.kind->event == TraceEvent::JobFailed) {
        course.endJob(KnownJob::End::Failed, static_cast<int>(line.fields.number(0).value_or(0)));
        return;
    }
    course.endJob(line.kind->event == TraceEvent::JobEnded ? KnownJob::End::Ended : KnownJob::End::TimedOut);
}

// Job and command write the same lines. Behind the executor's own the command's come, and a job may be a
// shutdown's command; where no level shows those, only the command's name tells.
bool ModuleLife::isShutdownCommand(std::string_view command) {
    return actionOfCommand(command) != nullptr &&
           (!m_current->facts.performing || m_current->isIn("command"));
}

void ModuleLife::onCommand(const TraceLine& line) {
    const std::string_view command = line.fields.text(0);
    const TraceEvent event = line.kind->event;
    if (event == TraceEvent::CommandEnded && m_current &&
        (m_current->run().job || m_current->run().command)) {
        return; // it tells something only where the lines before it were cut off
    }
    if (event == TraceEvent::CommandBegins && m_current && m_current->run().command && !isForced(command)) {
        finishCurrent(); // one that has its command gets no other
    }
    RunCourse& course = current();
    if (!isShutdownCommand(command)) {
        if (!course.run().job) {
            course.beginJob(command, event == TraceEvent::CommandBegins);
        }
        if (event != TraceEvent::CommandBegins) {
            course.run().job->started = event != TraceEvent::CommandFailed;
        }
        return;
    }
    course.nameOperation(*actionOfCommand(command));
    course.enter("command", event == TraceEvent::CommandBegins);
    if (event == TraceEvent::CommandFailed) {
        course.facts.commandFailed = true;
        course.closePhase();
    } else if (event != TraceEvent::CommandBegins && !course.run().command) {
        course.beginCommand(command);
        m_commandStarted = command;
    }
    if (event != TraceEvent::CommandBegins) {
        shutQueue(kEarlier);
    }
}

// From here on it is about the command, or an exception.
void ModuleLife::onExecution(const TraceLine& line) {
    if (line.kind->event == TraceEvent::Exception) {
        if (m_current && line.fields.text(0) == "OnTaskExecution()") {
            m_current->facts.exception = true;
        }
        return;
    }
    RunCourse& course = current();
    if (!course.run().hasJob && course.hasBeenIn("job settings")) {
        course.run().hasJob = false; // its lines would have come
    }
    course.facts.performing = true;
    course.enter("command", line.kind->event == TraceEvent::Executing);
    if (line.kind->action != nullptr) {
        course.nameOperation(*line.kind->action);
    } else if (line.kind->event == TraceEvent::Privilege) {
        course.facts.notRoot = line.fields.text(0) != "OK";
        if (course.facts.notRoot) {
            shutQueue(kEarlier);
        }
    } else if (const em::ShutdownAction* const action = actionOfCommand(line.fields.text(1))) {
        course.nameOperation(*action);
    }
}

// The task; one whose first lines are not there, if need be.
RunCourse& ModuleLife::current() {
    if (!m_current) {
        begun().run().beginCut = true;
    }
    return *m_current;
}

RunCourse& ModuleLife::begun() {
    if (!m_current) {
        m_current.emplace();
        m_current->place = m_order->begin();
        m_current->lineRead(m_now, m_level);
    }
    m_current->facts.isTask = true;
    return *m_current;
}

} // namespace volad_dev

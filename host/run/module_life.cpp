#include "host/run/module_life.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "contract/envelope.h"
#include "contract/operation_codes.h"
#include "contract/reasons.h"
#include "contract/shutdown_status.h"
#include "contract/trace_lines.h"
#include "host/run/message_line.h"

namespace volad_dev {
namespace {

constexpr size_t kMostWaiting = 64; // the queue takes nine

} // namespace

constexpr auto ModuleLife::handlers() {
    return std::array<HandlerRow, static_cast<size_t>(TraceEvent::Count)>{{
        {TraceEvent::Starting, &ModuleLife::onStarting},
        {TraceEvent::Stopping, &ModuleLife::onStopping},
        {TraceEvent::Message, &ModuleLife::onMessage},
        {TraceEvent::Requested, &ModuleLife::onAction},
        {TraceEvent::Replied, &ModuleLife::onAction},
        {TraceEvent::OffTimeReached, &ModuleLife::onOffTime},
        {TraceEvent::QueueFull, &ModuleLife::onQueue},
        {TraceEvent::QueueShut, &ModuleLife::onQueue},
        {TraceEvent::QueueRaised, &ModuleLife::onQueue},
        {TraceEvent::Queued, &ModuleLife::onQueue},
        {TraceEvent::CancelRequested, &ModuleLife::onCancelRequest},
        {TraceEvent::Status, &ModuleLife::onStatus},
        {TraceEvent::TaskBegins, &ModuleLife::onTask},
        {TraceEvent::GateRefuses, &ModuleLife::onGate},
        {TraceEvent::ReasonNumber, &ModuleLife::onReason},
        {TraceEvent::ReasonText, &ModuleLife::onReason},
        {TraceEvent::DelayGiven, &ModuleLife::onDelay},
        {TraceEvent::NoDelayGiven, &ModuleLife::onDelay},
        {TraceEvent::ForceDelay, &ModuleLife::onDelay},
        {TraceEvent::DelayBegins, &ModuleLife::onDelay},
        {TraceEvent::DelayOver, &ModuleLife::onDelay},
        {TraceEvent::EndsCancelled, &ModuleLife::onPastDelay},
        {TraceEvent::Performing, &ModuleLife::onPastDelay},
        {TraceEvent::JobDirectory, &ModuleLife::onJobSetting},
        {TraceEvent::JobLimit, &ModuleLife::onJobSetting},
        {TraceEvent::NoJob, &ModuleLife::onJobSetting},
        {TraceEvent::JobFound, &ModuleLife::onJobSetting},
        {TraceEvent::JobEnded, &ModuleLife::onJobEnd},
        {TraceEvent::JobTimedOut, &ModuleLife::onJobEnd},
        {TraceEvent::JobFailed, &ModuleLife::onJobEnd},
        {TraceEvent::CommandBegins, &ModuleLife::onCommand},
        {TraceEvent::CommandForked, &ModuleLife::onCommand},
        {TraceEvent::CommandFailed, &ModuleLife::onCommand},
        {TraceEvent::CommandEnded, &ModuleLife::onCommand},
        {TraceEvent::Executing, &ModuleLife::onExecution},
        {TraceEvent::Privilege, &ModuleLife::onExecution},
        {TraceEvent::SystemShutdown, &ModuleLife::onExecution},
        {TraceEvent::Disconnect, &ModuleLife::onDisconnect},
        {TraceEvent::Exception, &ModuleLife::onExecution},
        {TraceEvent::LevelOnly, &ModuleLife::onNothing},
    }};
}

void ModuleLife::take(const TraceLine& line) {
    if (line.kind->event == TraceEvent::LevelOnly && !m_current && m_waiting.empty()) {
        return; // the watcher's, each second: nobody is there whom its time would tell something
    }
    m_now = findTime(line.prefix);
    m_level = isOfQueue(line.kind->event) ? 0 : line.kind->level;
    if (m_current) {
        m_current->lineRead(m_now, m_level);
    }
    for (RunCourse& course : m_waiting) {
        course.lineRead(m_now, m_level);
    }
    static constexpr auto kHandlers = handlers();
    static_assert([] {
        for (size_t i = 0; i < kHandlers.size(); ++i) {
            if (static_cast<size_t>(kHandlers[i].event) != i) {
                return false;
            }
        }
        return true;
    }());
    (this->*kHandlers[static_cast<size_t>(line.kind->event)].handler)(line);
}

void ModuleLife::end() {
    finishCurrent();
    while (!m_waiting.empty()) {
        give(m_waiting.front());
        m_waiting.pop_front();
    }
}

void ModuleLife::onStarting(const TraceLine& /*line*/) {
    end();
    m_stopping = false;
    m_queueShutBy = {};
    m_commandStarted.reset();
}

// A shutdown in its delay ends with it, and what waits is dropped.
void ModuleLife::onStopping(const TraceLine& /*line*/) {
    m_stopping = true;
    shutQueue(RunCourse::kStop);
}

RunCourse& ModuleLife::ask(std::string_view by) {
    dropRefused();
    if (m_waiting.size() == kMostWaiting) {
        give(m_waiting.front());
        m_waiting.pop_front();
    }
    RunCourse& course = m_waiting.emplace_back();
    course.place = m_order->begin();
    course.asked(by);
    course.awaitsQueue = true;
    course.facts.queueShutBy = m_queueShutBy;
    course.lineRead(m_now, m_level);
    return course;
}

// Each shutdown's own message opens it; any other belongs to the one that it may concern.
void ModuleLife::onMessage(const TraceLine& line) {
    const MessageLine message = readMessageLine(line);
    const bool isReturn = message.direction == MessageLine::Direction::Return;
    RunCourse* course = addressee();
    if (em::findShutdownAction(message.operationCode) != nullptr) {
        if (isReturn) {
            course = awaitingAnswer(message.operationCode);
        } else {
            course = &ask(message.direction == MessageLine::Direction::Reply ? "reply" : "request");
            course->operationCode = message.operationCode;
            course->awaitsAnswer = message.direction == MessageLine::Direction::Request;
            course->nameOperation(*em::findShutdownAction(message.operationCode));
            course->run().reason =
                message.data ? std::optional(static_cast<uint8_t>(*message.data)) : std::nullopt;
        }
    }
    if (course == nullptr) {
        return;
    }
    course->addMessage(!isReturn, message.envelope);
    if (isReturn && course->awaitsAnswer && course->operationCode == message.operationCode) {
        course->awaitsAnswer = course->awaitsQueue = false;
        if (message.status != em::status::kAccepted) {
            course->facts.refusal = fmt::format("answered with \"ST\" {}", message.status);
            course->run().byReplyOnly = message.status == em::status::kNotSupported;
        }
    }
}

// Behind the message's own line, or in its stead where the level or the cut hides that.
void ModuleLife::onAction(const TraceLine& line) {
    const em::ShutdownAction& action = *line.kind->action;
    const bool follows = !m_waiting.empty() && m_waiting.back().awaitsQueue &&
                         m_waiting.back().operationCode == action.operationCode;
    if (!follows) {
        RunCourse& course = ask(line.kind->event == TraceEvent::Replied ? "reply" : "request");
        course.nameOperation(action);
        course.operationCode = action.operationCode;
        course.awaitsAnswer = line.kind->event == TraceEvent::Requested;
    }
}

void ModuleLife::onOffTime(const TraceLine& /*line*/) {
    RunCourse& course = ask("schedule");
    course.nameOperation(em::shutdownActionOf(static_cast<uint32_t>(em::ShutdownKind::Off)));
    course.run().reason = em::kReasonRealtimeClock;
}

// The queue of another module writes the same lines: they count where one was put in just now.
void ModuleLife::onQueue(const TraceLine& line) {
    if (m_waiting.empty() || !m_waiting.back().awaitsQueue) {
        return;
    }
    RunCourse& course = m_waiting.back();
    course.lineRead(m_now, line.kind->level);
    course.awaitsQueue = line.kind->event == TraceEvent::QueueRaised;
    if (line.kind->event == TraceEvent::QueueFull) {
        course.facts.refusal = "the queue was full";
    } else if (line.kind->event == TraceEvent::QueueShut) {
        course.facts.refusal = "the queue was shut";
    }
}

void ModuleLife::onCancelRequest(const TraceLine& /*line*/) {
    if (RunCourse* const course = addressee()) {
        course->cancelAsked();
    }
}

// Status 1 is that of the newest request, each other one that of the task.
void ModuleLife::onStatus(const TraceLine& line) {
    const auto status = static_cast<em::ShutdownStatus>(line.fields.number(0).value_or(0));
    RunCourse* course = m_current ? &*m_current : nullptr;
    if (status == em::ShutdownStatus::Requested || course == nullptr) {
        course = m_waiting.empty() ? course : &m_waiting.back();
    }
    if (course == nullptr) {
        return;
    }
    course->addStatus(static_cast<uint8_t>(status));
    course->addMessage(false,
                       envelopeText(em::opcode::kShutdownStatusChanged, static_cast<uint32_t>(status)));
    if (status == em::ShutdownStatus::DelayRunning) {
        course->run().gateOpen = true;
        course->enter("settings");
    } else if (status == em::ShutdownStatus::Executing) {
        course->facts.finished = true;
        shutQueue(kEarlier);
        course->closePhase();
    }
}

void ModuleLife::onDisconnect(const TraceLine& /*line*/) {
    shutQueue("CM_Disconnect");
}

// The one that a message may concern which names none.
RunCourse* ModuleLife::addressee() {
    return m_current ? &*m_current : m_waiting.empty() ? nullptr : &m_waiting.back();
}

// The task may have begun before the answer was on its way.
RunCourse* ModuleLife::awaitingAnswer(uint32_t operationCode) {
    const auto awaits = [operationCode](const RunCourse& course) {
        return course.awaitsAnswer && course.operationCode == operationCode;
    };
    if (m_current && awaits(*m_current)) {
        return &*m_current;
    }
    const auto found = std::find_if(m_waiting.begin(), m_waiting.end(), awaits);
    return found == m_waiting.end() ? nullptr : &*found;
}

// What shut it first counts.
void ModuleLife::shutQueue(std::string_view by) {
    if (m_queueShutBy.empty()) {
        m_queueShutBy = by;
    }
}

void ModuleLife::dropRefused() {
    for (auto course = m_waiting.begin(); course != m_waiting.end();) {
        if (course->facts.refusal) {
            give(*course);
            course = m_waiting.erase(course);
        } else {
            ++course;
        }
    }
}

void ModuleLife::finishCurrent() {
    if (m_current) {
        give(*m_current);
        m_current.reset();
    }
}

void ModuleLife::give(RunCourse& course) {
    course.facts.stopping = m_stopping;
    course.facts.queueShutAtEnd = !m_queueShutBy.empty() && course.facts.queueShutBy.empty();
    if (course.facts.queueShutAtEnd) {
        course.facts.queueShutBy = m_queueShutBy; // what waited was dropped then
    }
    KnownRun run = course.conclude();
    if (run.end == RunEnd::NotAccepted) {
        run.earlierCommand = m_commandStarted;
    }
    m_order->end(course.place, std::move(run));
}

} // namespace volad_dev

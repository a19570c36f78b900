#include "simulation/outcome_judge.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "contract/reasons.h"
#include "contract/shutdown_actions.h"
#include "contract/trace_lines.h"
#include "simulation/record_text.h"

namespace em::test {
namespace {

constexpr size_t kQueueHolds = 9;
constexpr int64_t kGateLimitMs = 30'000 + 1'000;
constexpr int64_t kDisconnectWaitMs = 5'000;
constexpr int64_t kStopSlackMs = 5'000 + 2'000 + 1'000; // a host's silence, the disconnect's pause, settling

} // namespace

// The lines that tell of a decision, and what is made of them.
struct OutcomeJudge::Line {
    const char* format;
    void (*see)(OutcomeJudge&, const Record&);
};

const std::vector<OutcomeJudge::Line>& OutcomeJudge::lines() {
    using Judge = OutcomeJudge;
    static const std::vector<Line> all = {
        {line::kStatusChanged,
         [](Judge& judge, const Record& r) {
             judge.statusChanged(r.thread, static_cast<int>(numberBehind(r.text, " ")));
         }},
        {line::kTaskRaised, [](Judge& judge, const Record& r) { judge.raised(r.thread); }},
        {line::kTaskInserted, [](Judge& judge, const Record& r) { judge.inserted(r.thread); }},
        {line::kQueueFull, [](Judge& judge, const Record& r) { judge.refused(r.thread, true); }},
        {line::kQueueShut, [](Judge& judge, const Record& r) { judge.refused(r.thread, false); }},
        {"\nCTaskSerializer     : START THREAD TaskHandler()!",
         [](Judge& judge, const Record& r) {
             judge.m_handler = r.thread;
             judge.m_handlerRuns = true;
         }},
        {"\nCTaskSerializer     : EXIT THREAD TaskHandler()!",
         [](Judge& judge, const Record&) { judge.m_handlerRuns = false; }},
        {"\nCTaskSerializer     : Disable all Tasks",
         [](Judge& judge, const Record& r) {
             judge.m_shut = {true, judge.m_shut.sure, r.thread};
         }},
        {"\nCTaskSerializer     : All pending tasks removed from queues!",
         [](Judge& judge, const Record&) { judge.m_queue.clear(); }},
        {"\nCTaskSerializer     : Process Task (Record 0x%X) at level %d",
         [](Judge& judge, const Record&) { judge.taken(); }},
        {"\nCTaskSerializer     : Task (Record 0x%X) at level %d completed",
         [](Judge& judge, const Record&) { judge.completed(); }},
        {line::kTaskBegins,
         [](Judge& judge, const Record& r) {
             judge.begins(Phase::Gate);
             judge.m_gates[r.thread] = false; // a query that did not start has no line
         }},
        {line::kGateAnswer,
         [](Judge& judge, const Record& r) {
             judge.gateAnswered(r.thread, r.text.find("Enabled") != std::string::npos);
         }},
        {line::kGateRefuses,
         [](Judge& judge, const Record& r) {
             judge.require(!judge.m_gates[r.thread], "refused although the gate was open");
             judge.m_phase = Phase::Withdrawing;
         }},
        {line::kDelayBegins,
         [](Judge& judge, const Record&) {
             judge.require(judge.m_current && judge.m_current->reason != kReasonPowerSwitch,
                           "a delay for the power switch");
             judge.m_sinceMs = judge.m_nowMs;
         }},
        {line::kDelayOver, [](Judge& judge, const Record&) { judge.delayOver(); }},
        {line::kEndsCancelled, [](Judge& judge, const Record&) { judge.looksCancelled(); }},
        {line::kPerforming, [](Judge& judge, const Record&) { judge.performs(); }},
        {line::kJobBegins, [](Judge& judge, const Record&) { judge.m_sinceMs = judge.m_nowMs; }},
        {line::kJobEnded, [](Judge& judge, const Record&) { judge.jobOver(false); }},
        {line::kJobTimedOut, [](Judge& judge, const Record&) { judge.jobOver(true); }},
        {line::kPrivilege,
         [](Judge& judge, const Record& r) { judge.beginsCommand(r.text.find("OK") != std::string::npos); }},
        {"\nCOSShutdown         : shutdown force delay available (%d secs.), start HardShutdown thread",
         [](Judge& judge, const Record& r) { judge.forces(numberBehind(r.text, "(")); }},
        {line::kCancelTaken, [](Judge& judge, const Record&) { judge.cancelEnded(Effect::Cancels); }},
        {line::kCancelTooLate, [](Judge& judge, const Record&) { judge.cancelEnded(Effect::Refused); }},
        {line::kNothingToCancel, [](Judge& judge, const Record&) { judge.cancelEnded(Effect::Nothing); }},
        {line::kOffTimeReached, [](Judge& judge, const Record& r) { judge.offTimeReached(r.thread); }},
        {line::kStopping,
         [](Judge& judge, const Record& r) {
             judge.meet(Event::Stop);
             judge.m_stop = {true, judge.m_stop.sure, r.thread};
             judge.m_stopSinceMs = judge.m_nowMs;
         }},
        {line::kDisconnectBegins, [](Judge& judge, const Record&) { judge.begins(Phase::Disconnect); }},
        {line::kDisconnectEnds, [](Judge& judge, const Record&) { judge.disconnected(); }},
        {"\nEM_SHUTDOWN         : WARNING! TIMEOUT waiting 5 sec for ReadyForShutdown event!\n",
         [](Judge& judge, const Record& r) { judge.m_waits[r.thread].gaveUp = true; }},
        {line::kException, [](Judge& judge, const Record&) { judge.require(false, "an exception"); }},
    };
    return all;
}

void OutcomeJudge::see(const Record& record, int64_t nowMs) {
    m_nowMs = nowMs;
    for (Flag* const flag : {&m_stop, &m_shut}) {
        flag->sure = flag->sure || (flag->maybe && flag->by == record.thread);
    }
    if (record.text.starts_with("# ")) {
        seeMark(record.text, record.thread);
    } else if (record.kind == Kind::HostCall) {
        hostCall(record);
    } else {
        for (const Line& line : lines()) {
            if (isLine(line.format, record.text.c_str())) {
                line.see(*this, record);
                break;
            }
        }
    }
}

void OutcomeJudge::require(bool holds, const char* what) {
    if (!holds && m_fault.empty()) {
        m_fault = std::string(what) + ", " + std::string(nameOf(where())) + ", status " +
                  std::to_string(m_status) + (m_cancelled ? ", cancelled" : "") + ", at " +
                  std::to_string(m_nowMs) + " ms";
    }
}

const Cell& OutcomeJudge::meet(Event event) {
    m_met.insert({where(), event});
    return cellOf(where(), event);
}

State OutcomeJudge::where() const {
    if (m_stop.maybe) {
        return State::Stopped;
    }
    const bool pending = m_status == 1 || m_status == 2;
    switch (m_phase) {
    case Phase::Job:
        return pending ? State::Job : State::InName;
    case Phase::Command:
        return pending ? State::Command : State::InName;
    case Phase::Gate:
    case Phase::Delay:
        if (m_status == 4) {
            return State::Cancelled;
        }
        return !pending ? State::Unannounced : m_phase == Phase::Gate ? State::Gate : State::Delay;
    case Phase::None:
    case Phase::Withdrawing:
    case Phase::Disconnect:
        break;
    }
    if (m_finished) {
        return m_status == 3 ? State::Executing : pending ? State::AskedAgain : State::Cancelled;
    }
    switch (m_status) {
    case 1:
        return m_announcing > 0 && m_queue.empty() ? State::Announced : State::Queued;
    case 2:
        return State::Delay; // it is being withdrawn
    case 4:
        return State::Cancelled;
    default:
        return m_queue.empty() ? State::Idle : State::Unannounced;
    }
}

void OutcomeJudge::seeMark(const std::string& text, pid_t thread) {
    if (text.starts_with(mark::kAsks)) {
        char* end = nullptr;
        const char* const numbers = text.c_str() + std::strlen(mark::kAsks);
        const auto code = static_cast<uint32_t>(std::strtoul(numbers, &end, 10));
        m_disconnects += code == opcode::CM_Disconnect ? 1 : 0;
        m_waits[thread] = {m_nowMs};
        m_asks[thread] = {code, static_cast<uint32_t>(std::strtoul(end, nullptr, 10))};
    } else if (text.starts_with(mark::kTool)) {
        m_tools[thread] = text.back();
    } else if (text.starts_with(mark::kRan)) {
        const size_t begin = std::strlen(mark::kRan);
        const size_t end = text.find(mark::kIn);
        const std::string command = text.substr(begin, end - begin);
        const std::string directory = text.substr(end + std::strlen(mark::kIn));
        if (m_phase == Phase::Job) {
            require(m_facts.jobMs >= 0 && command == "/job", "a program that is not the job");
            require(m_facts.jobDirectory.empty() || directory == m_facts.jobDirectory, "the job's directory");
            require(m_current && ++m_current->jobs == 1, "a second job");
            return;
        }
        m_commands.push_back(command);
        require(m_facts.jobDirectory.empty() || directory == "/", "the command's directory");
        require(m_phase == Phase::Command && m_current && m_facts.root, "a command that nothing asked for");
        if (m_current) {
            const ShutdownAction* const action = findShutdownAction(m_current->code);
            require(action != nullptr && command == action->command, "another task's command");
            require(++m_current->commands == 1, "a second command");
        }
    } else if (text == mark::kNotified) {
        const Wait& wait = m_waits[thread];
        const int64_t took = m_nowMs - wait.sinceMs;
        require(!wait.gaveUp || took >= kDisconnectWaitMs || m_facts.waitsFail,
                "a disconnect that was given up too early");
        require(!wait.queued || wait.gaveUp || wait.done || m_facts.waitsFail || m_disconnects > 1,
                "a disconnect that was not waited for");
        require(took <= kDisconnectWaitMs + m_facts.slackMs, "a disconnect without end");
    } else if (text == mark::kFlips) {
        meet(Event::Flip);
    } else if (text == mark::kStopped) {
        const int64_t job = std::max<int64_t>(std::min(m_facts.jobMs, m_facts.jobLimitMs), 0);
        require(m_nowMs - m_stopSinceMs <= job + kStopSlackMs + m_facts.silenceMs + m_facts.slackMs,
                "a Stop that took too long");
        require(!m_handlerRuns && !m_current && (m_queue.empty() || m_handler == 0),
                "a Stop that left the handler");
    }
}

// The flag of a request is cleared behind its status and ahead of its insert, that of a scheduled one only
// where it is an ended shutdown's.
void OutcomeJudge::raised(pid_t thread) {
    const auto ask = m_asks.find(thread);
    if (ask == m_asks.end()) {
        require(false, "a task that nobody asked for");
        return;
    }
    const bool scheduled = ask->second.scheduled;
    require(ask->second.announced != (scheduled || ask->second.code == opcode::CM_Disconnect),
            "a request without its status");
    const Event event = scheduled               ? Event::Schedule
                        : ask->second.announced ? Event::Request
                                                : Event::Disconnect;
    const Effect effect = meet(event).effect;
    require(effect != Effect::Turned || m_finished || m_stop.maybe, "a queue that should be open");
    m_announcing -= ask->second.announced ? 1 : 0;
    if (ask->second.announced || (scheduled && (m_status == 0 || m_status == 5))) {
        m_cancelled = false;
    }
}

void OutcomeJudge::inserted(pid_t thread) {
    Task task = m_asks[thread];
    task.by = thread;
    m_waits[thread].queued = true;
    m_asks.erase(thread);
    require(!m_shut.sure, "a task into a shut queue");
    require(m_queue.size() < kQueueHolds, "a task into a full queue");
    m_queue.push_back(task);
}

void OutcomeJudge::refused(pid_t thread, bool full) {
    m_asks.erase(thread);
    require(full ? m_queue.size() == kQueueHolds : m_shut.maybe, "a task that was refused");
}

void OutcomeJudge::taken() {
    require(!m_current && !m_queue.empty(), "a task out of nothing");
    if (!m_queue.empty()) {
        m_current = m_queue.front();
        m_queue.pop_front();
    }
    m_phase = Phase::None;
    m_withdrawals = 0;
}

void OutcomeJudge::completed() {
    require(m_current.has_value(), "the end of no task");
    require(m_current && m_current->begun, "a task that was not carried out");
    require(m_phase != Phase::Withdrawing || (m_withdrawals == 2 && m_current && m_current->aborts == 1),
            "a withdrawal that was not told");
    require(m_phase == Phase::None || m_phase == Phase::Withdrawing, "a task that ended on its way");
    m_phase = Phase::None;
    if (m_current) {
        m_waits[m_current->by].done = true;
    }
    m_current.reset();
}

void OutcomeJudge::statusChanged(pid_t thread, int status) {
    if (!isHandler(thread)) {
        if (status == 1) {
            meet(Event::Request);
            m_asks[thread].announced = true;
            ++m_announcing;
            m_status = 1;
        }
        return; // 4 was set when the cancel was taken
    }
    m_status = status;
    if (status == 2) {
        require(m_phase == Phase::Gate && m_gates[thread], "past a shut gate");
        m_phase = Phase::Delay;
        m_pendingHeld = true;
    } else if (status == 3) {
        if (m_phase == Phase::Delay) {
            require(!m_cancelled, "a cancel that was overlooked");
            require(m_stop.maybe, "no command although nothing came");
        } else {
            require(m_phase == Phase::Command, "an end out of nothing");
            require(!m_cancelled, "a cancel that was overlooked behind the command");
            commandDue();
        }
        m_finished = true;
        m_phase = Phase::None;
    } else if (status == 5) {
        require(m_phase == Phase::Withdrawing, "a withdrawal out of nothing");
        require(m_current && ++m_current->aborts == 1, "a second withdrawal");
        m_pendingHeld = false;
    }
}

void OutcomeJudge::gateAnswered(pid_t thread, bool enabled) {
    const bool saidSo = m_tools[thread] == 'E';
    require(!enabled || saidSo, "a gate that opened by itself");
    require(enabled || !saidSo || m_stop.maybe || m_facts.queriesFail, "a gate that stayed shut");
    if (isHandler(thread)) {
        require(m_nowMs - m_sinceMs <= kGateLimitMs, "a query without end");
    }
    m_gates[thread] = enabled;
    m_tools[thread] = '?';
}

void OutcomeJudge::cancelEnded(Effect effect) {
    const Effect wanted = meet(Event::Cancel).effect;
    require(where() == State::Stopped || effect == wanted, "a cancel's answer");
    require((effect == Effect::Cancels) == (m_status == 1 || m_status == 2), "a cancel against its status");
    if (effect == Effect::Cancels) {
        m_cancelled = true;
        m_status = 4;
    }
}

void OutcomeJudge::delayOver() {
    const int64_t took = m_nowMs - m_sinceMs;
    require(took >= m_facts.delayMs || m_stop.maybe, "a delay that was too short");
    require(took <= m_facts.delayMs + m_facts.slackMs, "a delay that was too long");
}

// Behind the delay, or behind the command.
void OutcomeJudge::looksCancelled() {
    require(m_cancelled, "withdrawn although nobody cancelled");
    if (m_phase == Phase::Command) {
        commandDue();
    } else {
        require(m_phase == Phase::Delay, "a look out of turn");
    }
    m_phase = Phase::Withdrawing;
}

void OutcomeJudge::performs() {
    require(m_phase == Phase::Delay, "performed out of turn");
    require(!m_cancelled, "performed although cancelled");
    require(!m_stop.sure, "performed although stopped");
    m_phase = Phase::Job;
}

void OutcomeJudge::offTimeReached(pid_t thread) {
    require(m_facts.offTime && ++m_offTimes == 1, "a power-off time that nobody gave");
    m_asks[thread] = {
        .code = opcode::CM_RequestShutdownAndOff, .reason = kReasonRealtimeClock, .scheduled = true};
}

void OutcomeJudge::begins(Phase phase) {
    const bool disconnects = phase == Phase::Disconnect;
    require(m_current && (disconnects ? m_current->code == opcode::CM_Disconnect
                                      : findShutdownAction(m_current->code) != nullptr),
            "the beginning of no task");
    require(m_current && !std::exchange(m_current->begun, true), "a task that begins twice");
    m_phase = phase;
    m_sinceMs = m_nowMs;
    m_toldByDisconnect.clear();
}

void OutcomeJudge::beginsCommand(bool allowed) {
    require(m_phase == Phase::Job, "a command out of turn");
    require(allowed == m_facts.root, "privilege");
    const int due = m_facts.jobMs >= 0 ? 1 : 0;
    require(m_current && (m_current->jobs == due || m_facts.childrenFail), "no job where one is due");
    m_phase = Phase::Command;
}

void OutcomeJudge::forces(int64_t seconds) {
    require(seconds == m_facts.forceDelay && seconds != 0, "a force delay that nobody gave");
    require(m_current && !std::exchange(m_current->forced, true), "a second force delay");
}

void OutcomeJudge::disconnected() {
    const std::string reason = "=" + std::to_string(kReasonSoftwareCommand);
    require(m_phase == Phase::Disconnect &&
                m_toldByDisconnect == (m_pendingHeld ? "" : " 517" + reason + " 279" + reason) + " 523",
            "what a disconnect tells");
    m_phase = Phase::None;
}

void OutcomeJudge::commandDue() {
    const int wanted = m_facts.root ? 1 : 0;
    require(m_current &&
                (m_current->commands == wanted || (m_facts.childrenFail && m_current->commands == 0)),
            "no command where one is due");
    require(m_current && m_current->forced == (m_facts.root && m_facts.forceDelay != 0),
            "no force delay where one is due");
}

void OutcomeJudge::jobOver(bool timedOut) {
    const int64_t took = m_nowMs - m_sinceMs;
    require(took <= m_facts.jobLimitMs + m_facts.slackMs, "a job that held the command up");
    require(timedOut ? m_facts.jobMs >= m_facts.jobLimitMs || m_facts.childrenFail
                     : took >= m_facts.jobMs || m_facts.childrenFail || m_facts.jobLimitMs == 0,
            "a job that was not waited for");
}

void OutcomeJudge::hostCall(const Record& record) {
    const Message message = messageIn(record.text);
    switch (message.code) {
    case opcode::CM_ShutdownRequestCancelled:
        ++m_withdrawals;
        require(m_phase == Phase::Withdrawing && isHandler(record.thread), "a withdrawal told out of turn");
        break;
    case opcode::kShutdownStatusQuery:
        require(m_phase == Phase::Disconnect, "the end of a disconnect told out of turn");
        break;
    default:
        break;
    }
    if (m_phase == Phase::Disconnect && isHandler(record.thread)) {
        m_toldByDisconnect += " " + std::to_string(message.code);
        m_toldByDisconnect += message.data ? "=" + std::to_string(*message.data) : "";
    }
}

void OutcomeJudge::end(uint32_t answeredStatus) {
    require(static_cast<int>(answeredStatus) == m_status, "a status query's answer");
    require(m_asks.empty() && m_announcing == 0, "a request that was not ended");
    require(m_offTimes == 1 || !m_facts.offTimeDue, "a power-off time that was missed");
}

} // namespace em::test

#include "simulation/outcome_judge.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "contract/reasons.h"
#include "contract/shutdown_actions.h"
#include "contract/trace_lines.h"

namespace em::test {
namespace {

constexpr size_t kQueueHolds = 9;
constexpr int64_t kGateLimitMs = 30'000 + 1'000;
constexpr int64_t kDisconnectWaitMs = 5'000;
constexpr int64_t kStopSlackMs = 5'000 + 2'000 + 1'000; // a host's silence, the disconnect's pause, settling

// Whether the text was written by that format, whose conversions stand for anything.
bool isLine(const char* format, const char* text) {
    for (; *format != '\0'; ++format, ++text) {
        if (*format == '%') {
            format += std::strcspn(format + 1, "dsuXxp") + 2;
            for (;; ++text) {
                if (isLine(format, text)) {
                    return true;
                }
                if (*text == '\0') {
                    return false;
                }
            }
        }
        if (*format != *text) {
            return false;
        }
    }
    return *text == '\0';
}

int lastNumber(const std::string& text) {
    return std::atoi(text.c_str() + text.find_last_of(' ') + 1);
}

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
         [](Judge& judge, const Record& r) { judge.statusChanged(r.thread, lastNumber(r.text)); }},
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
             judge.require(judge.m_current && findShutdownAction(judge.m_current->code) != nullptr,
                           "a shutdown without a task");
             judge.m_gates[r.thread] = false; // a query that did not start has no line
             judge.m_phase = Phase::Gate;
             judge.m_sinceMs = judge.m_nowMs;
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
        {line::kSystemShutdown, [](Judge& judge, const Record&) { judge.m_phase = Phase::Command; }},
        {line::kPrivilege,
         [](Judge& judge, const Record& r) {
             judge.m_phase = Phase::Command;
             judge.require((r.text.find("OK") != std::string::npos) == judge.m_facts.root, "privilege");
         }},
        {line::kCancelTaken, [](Judge& judge, const Record&) { judge.cancelEnded(Effect::Cancels); }},
        {line::kCancelTooLate, [](Judge& judge, const Record&) { judge.cancelEnded(Effect::Refused); }},
        {line::kNothingToCancel, [](Judge& judge, const Record&) { judge.cancelEnded(Effect::Nothing); }},
        {line::kOffTimeReached,
         [](Judge& judge, const Record& r) {
             judge.m_asks[r.thread] = {opcode::CM_RequestShutdownAndOff, kReasonRealtimeClock};
         }},
        {line::kStopping,
         [](Judge& judge, const Record& r) {
             judge.meet(Event::Stop);
             judge.m_stop = {true, judge.m_stop.sure, r.thread};
             judge.m_stopSinceMs = judge.m_nowMs;
         }},
        {line::kDisconnectBegins,
         [](Judge& judge, const Record&) {
             judge.m_phase = Phase::Disconnect;
             judge.m_saidByUser = false;
         }},
        {line::kShutdownByUser, [](Judge& judge, const Record&) { judge.m_saidByUser = true; }},
        {line::kDisconnectEnds,
         [](Judge& judge, const Record&) {
             judge.require(judge.m_saidByUser != judge.m_pendingHeld, "whose shutdown the disconnect is");
         }},
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
        if (isHandler(record.thread)) {
            hostCall(record.text);
        }
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
        const std::string command = text.substr(std::strlen(mark::kRan));
        if (m_phase == Phase::Job) {
            require(m_facts.jobMs >= 0 && command == "/job", "a program that is not the job");
            return;
        }
        m_commands.push_back(command);
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
        require(m_nowMs - m_stopSinceMs <= job + kStopSlackMs + m_facts.slackMs, "a Stop that took too long");
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
    const bool scheduled = !ask->second.announced && ask->second.code != opcode::CM_Disconnect;
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
    require(m_phase != Phase::Withdrawing || (m_withdrawals == 2 && m_status != 2),
            "a withdrawal that was not told");
    require(m_phase == Phase::None || m_phase == Phase::Withdrawing || m_phase == Phase::Disconnect,
            "a task that ended on its way");
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

void OutcomeJudge::commandDue() {
    const int wanted = m_facts.root ? 1 : 0;
    require(m_current &&
                (m_current->commands == wanted || (m_facts.childrenFail && m_current->commands == 0)),
            "no command where one is due");
}

void OutcomeJudge::jobOver(bool timedOut) {
    const int64_t took = m_nowMs - m_sinceMs;
    require(took <= m_facts.jobLimitMs + m_facts.slackMs, "a job that held the command up");
    require(timedOut ? m_facts.jobMs >= m_facts.jobLimitMs || m_facts.childrenFail
                     : took >= m_facts.jobMs || m_facts.childrenFail || m_facts.jobLimitMs == 0,
            "a job that was not waited for");
}

void OutcomeJudge::hostCall(const std::string& text) {
    if (text.find("\"OC\":521,") != std::string::npos) {
        ++m_withdrawals;
        require(m_phase == Phase::Withdrawing, "a withdrawal told out of turn");
    }
}

void OutcomeJudge::end(uint32_t answeredStatus) {
    require(static_cast<int>(answeredStatus) == m_status, "a status query's answer");
    require(m_asks.empty() && m_announcing == 0, "a request that was not ended");
}

} // namespace em::test

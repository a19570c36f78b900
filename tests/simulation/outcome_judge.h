// Follows a run record by record, in the order in which the one running thread made them, and holds every
// decision of the module against the table and the invariants.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "rig/recording.h"
#include "simulation/outcome_table.h"
#include "simulation/run_facts.h"

namespace em::test {

class OutcomeJudge {
public:
    explicit OutcomeJudge(const RunFacts& facts) : m_facts(facts) {}

    void see(const Record& record, int64_t nowMs);
    // Behind the last record.
    void end(uint32_t answeredStatus);

    // The first thing that is not as the table and the invariants have it; empty when all is.
    [[nodiscard]] const std::string& fault() const { return m_fault; }
    [[nodiscard]] State where() const;
    // What is started now is the job.
    [[nodiscard]] bool runsJob() const { return m_phase == Phase::Job; }
    // Nothing is under way and nothing waits that could be taken up.
    [[nodiscard]] bool quiet() const { return (!m_current && m_queue.empty()) || !m_handlerRuns; }
    [[nodiscard]] const std::vector<std::string>& commands() const { return m_commands; }
    using Cells = std::set<std::pair<State, Event>>;
    [[nodiscard]] const Cells& met() const { return m_met; }

private:
    enum class Phase { None, Gate, Delay, Job, Command, Withdrawing, Disconnect };
    struct Task {
        uint32_t code = 0;
        uint32_t reason = 0;
        bool announced = false;
        bool scheduled = false; // by the worker
        bool begun = false;
        int jobs = 0;
        int commands = 0;
        bool forced = false; // its force delay's thread was started
        int aborts = 0;      // status 5
        pid_t by = 0;        // the inserter
    };
    struct Wait { // of a host thread for its disconnect
        int64_t sinceMs = 0;
        bool queued = false;
        bool gaveUp = false;
        bool done = false;
    };
    struct Line;
    static const std::vector<Line>& lines();

    void require(bool holds, const char* what);
    const Cell& meet(Event event);
    void seeMark(const std::string& text, pid_t thread);
    void statusChanged(pid_t thread, int status);
    void raised(pid_t thread);
    void inserted(pid_t thread);
    void refused(pid_t thread, bool full);
    void taken();
    void completed();
    void gateAnswered(pid_t thread, bool enabled);
    void cancelEnded(Effect effect);
    void delayOver();
    void looksCancelled();
    void performs();
    void offTimeReached(pid_t thread);
    void begins(Phase phase);
    void beginsCommand(bool allowed);
    void forces(int64_t seconds);
    void disconnected();
    void commandDue();
    void jobOver(bool timedOut);
    void hostCall(const Record& record);
    [[nodiscard]] bool isHandler(pid_t thread) const { return thread == m_handler; }

    const RunFacts m_facts;
    std::string m_fault;
    int64_t m_nowMs = 0;
    int m_status = 0;
    bool m_cancelled = false;
    // A flag may be set from its line on, and is for sure at the same thread's next record.
    struct Flag {
        bool maybe = false;
        bool sure = false;
        pid_t by = 0;
    };
    Flag m_stop;
    Flag m_shut;
    bool m_finished = false;    // status 3 was reached
    bool m_pendingHeld = false; // the module keeps a pending request
    bool m_handlerRuns = false;
    pid_t m_handler = 0;
    std::map<pid_t, Task> m_asks; // by the thread that is about to queue it
    int m_announcing = 0;
    std::map<pid_t, Wait> m_waits;
    int m_disconnects = 0; // two at once share one event, so one may return for the other's
    std::deque<Task> m_queue;
    std::optional<Task> m_current;
    Phase m_phase = Phase::None;
    std::map<pid_t, char> m_tools; // what the thread's last query will say
    std::map<pid_t, bool> m_gates;
    int64_t m_sinceMs = 0; // of the gate, the delay or the job
    int64_t m_stopSinceMs = 0;
    int m_withdrawals = 0;
    std::string m_toldByDisconnect; // code and number of each message
    int m_offTimes = 0;
    std::vector<std::string> m_commands;
    Cells m_met;
};

} // namespace em::test

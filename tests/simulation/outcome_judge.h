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

namespace em::test {

// What the judge must know of a run beforehand.
struct RunFacts {
    int64_t delayMs = 60'000; // what the answer for the delay comes to
    int64_t jobMs = -1;       // how long the job runs; -1 = there is none
    int64_t jobLimitMs = 120'000;
    bool root = true;
    bool childrenFail = false; // a start of a child is made to fail
    bool queriesFail = false;  // something that the maintenance query needs is
    bool waitsFail = false;    // an event or a wait on one is
    int64_t slackMs = 0;       // by which a failed wait may be late
};

// Records of the run itself, beside the module's: "# " and one of these.
namespace mark {
inline constexpr char kAsks[] = "# asks "; // a host thread is about to; then code and reason
inline constexpr char kTool[] = "# tool "; // started; its character, or "-" for none that comes in time
inline constexpr char kRan[] = "# ran ";   // a child; then its command
inline constexpr char kNotified[] = "# disconnect returned";
inline constexpr char kFlips[] = "# maintenance flips";
inline constexpr char kStopped[] = "# stop returned";
} // namespace mark

class OutcomeJudge {
public:
    explicit OutcomeJudge(const RunFacts& facts) : m_facts(facts) {}

    void see(const Record& record, int64_t nowMs);
    // Behind the last record.
    void end(uint32_t answeredStatus);

    // The first thing that is not as the table and the invariants have it; empty when all is.
    [[nodiscard]] const std::string& fault() const { return m_fault; }
    [[nodiscard]] State where() const;
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
        int commands = 0;
        pid_t by = 0; // the inserter
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
    void commandDue();
    void jobOver(bool timedOut);
    void hostCall(const std::string& text);
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
    bool m_saidByUser = false;
    std::vector<std::string> m_commands;
    Cells m_met;
};

} // namespace em::test

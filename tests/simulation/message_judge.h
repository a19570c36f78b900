// Follows what the host is told of each status and of the maintenance mode, on every thread.
#pragma once

#include <map>
#include <string>

#include "rig/recording.h"
#include "simulation/run_facts.h"

namespace em::test {

// Behind the line of a changed status comes that status (527), once, and nothing else does; a cancel that was
// taken has its own. The watcher tells each change that it sees (513), once, and sees each that lasts.
class MessageJudge {
public:
    explicit MessageJudge(const RunFacts& facts) : m_facts(facts), m_mode(facts.gate) {}

    void see(const Record& record, int64_t nowMs);
    // Behind the last record.
    void end();

    // The first thing that is not so; empty when all is.
    [[nodiscard]] const std::string& fault() const { return m_fault; }

private:
    struct Owed { // what a thread's next record must be
        enum class What { Nothing, Line, Message } what = What::Nothing;
        int64_t status = 0;
        bool operator==(const Owed&) const = default;
    };

    void require(bool holds, const char* what);
    void seeLine(const Record& record, const Owed& due);
    void seeMessage(const Record& record, const Owed& due);
    void stops();

    const RunFacts m_facts;
    std::string m_fault;
    int64_t m_nowMs = 0;
    std::map<pid_t, Owed> m_owed;
    pid_t m_watcher = 0; // 0 = it does not run
    bool m_mode;         // of the machine
    int64_t m_modeSinceMs = 0;
    bool m_seen = false; // by the watcher, which takes it for off at first
    bool m_told = false; // to the host
    bool m_stopping = false;
};

} // namespace em::test

#include "simulation/message_judge.h"

#include <algorithm>
#include <utility>

#include "contract/operation_codes.h"
#include "contract/trace_lines.h"
#include "simulation/record_text.h"

namespace em::test {
namespace {

constexpr char kWatcherBegins[] = "\nEM_SHUTDOWN         : START THREAD CheckMaintenanceThreadProc()";
constexpr char kWatcherSleeps[] =
    "\nEM_SHUTDOWN         : check maintenance thread sleeps %d seconds for next action";
constexpr char kWatcherEnds[] = "\nEM_SHUTDOWN         : EXIT THREAD CheckMaintenanceThreadProc()!";
constexpr char kNoTool[] = "\nEM_SHUTDOWN         :ERROR - getMaintenanceMode() - popen failed";
constexpr int64_t kWatcherSleepMs = 1'000;
constexpr int64_t kWatcherSlackMs = 100;
constexpr int64_t kCancelled = 4;

} // namespace

void MessageJudge::require(bool holds, const char* what) {
    if (!holds && m_fault.empty()) {
        m_fault = std::string(what) + ", at " + std::to_string(m_nowMs) + " ms";
    }
}

void MessageJudge::see(const Record& record, int64_t nowMs) {
    m_nowMs = nowMs;
    if (record.text == mark::kFlips) {
        m_mode = !m_mode;
        m_modeSinceMs = nowMs;
    }
    if (record.text.starts_with("# ")) {
        return;
    }
    const Owed due = std::exchange(m_owed[record.thread], {});
    if (record.kind == Kind::HostCall) {
        seeMessage(record, due);
    } else {
        seeLine(record, due);
    }
}

void MessageJudge::seeLine(const Record& record, const Owed& due) {
    const char* const text = record.text.c_str();
    if (isLine(line::kStatusChanged, text)) {
        const int64_t status = numberBehind(record.text, " ");
        const Owed wanted = status == kCancelled ? Owed{Owed::What::Line, status} : Owed{};
        require(due == wanted, "a status out of turn");
        m_owed[record.thread] = {Owed::What::Message, status};
        return;
    }
    require(due.what == Owed::What::Nothing, "a status that was not told");
    if (isLine(line::kCancelTaken, text)) {
        m_owed[record.thread] = {Owed::What::Line, kCancelled};
    } else if (isLine(line::kStopping, text)) {
        stops();
    } else if (isLine(kWatcherBegins, text)) {
        m_watcher = record.thread;
        m_modeSinceMs = m_nowMs;
    } else if (record.thread != m_watcher) {
        return;
    } else if (isLine(line::kGateAnswer, text)) {
        m_seen = record.text.find("Enabled") != std::string::npos;
    } else if (isLine(kNoTool, text)) {
        m_seen = false;
    } else if (isLine(kWatcherSleeps, text)) { // a query that Stop cuts short says nothing
        require(m_seen == m_told || m_stopping, "a maintenance mode that was not told");
    } else if (isLine(kWatcherEnds, text)) {
        m_watcher = 0;
    }
}

void MessageJudge::seeMessage(const Record& record, const Owed& due) {
    const Message message = messageIn(record.text);
    if (message.code == opcode::kShutdownStatusChanged) {
        require(due == Owed{Owed::What::Message, message.data.value_or(-1)}, "a status told out of turn");
        return;
    }
    require(due.what == Owed::What::Nothing, "a status that was not told");
    if (message.code == opcode::kMaintenanceModeChanged) {
        require(record.thread == m_watcher && m_seen != m_told, "a maintenance mode told out of turn");
        m_told = m_seen;
    }
}

// By now the watcher has ended the pass that it was in at the last change, has slept and has asked again.
void MessageJudge::stops() {
    m_stopping = true;
    const int64_t pass = m_facts.toolMs + 1;
    const bool lasts =
        m_nowMs - m_modeSinceMs > 2 * pass + kWatcherSleepMs + kWatcherSlackMs + m_facts.slackMs;
    require(m_watcher == 0 || !lasts || m_facts.queriesFail || m_told == m_mode,
            "a maintenance mode that nobody saw");
}

void MessageJudge::end() {
    require(std::ranges::all_of(m_owed, [](const auto& owed) { return owed.second == Owed{}; }),
            "a status that was not told at the end");
}

} // namespace em::test

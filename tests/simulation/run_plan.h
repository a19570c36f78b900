// All that a run is made of, drawn from one number or set by hand.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "contract/settings.h"
#include "simulation/outcome_table.h"

namespace em::test {

// Small, and the same everywhere.
class Draw {
public:
    explicit Draw(uint64_t seed) : m_state(seed) {}

    uint64_t next();
    // One of so many; 0 of none.
    size_t below(size_t count) { return count == 0 ? 0 : next() % count; }
    bool oneIn(size_t count) { return below(count) == 0; }
    template <class Value>
    Value of(std::initializer_list<Value> values) {
        return *(values.begin() + below(values.size()));
    }

private:
    uint64_t m_state;
};

// What the host does to the module, or the machine to both.
enum class Act { Off, Reset, PowerSwitch, HaltReply, Cancel, Stop, Disconnect, Flip };
[[nodiscard]] const char* nameOf(Act act);

enum class Answer { Value, None, Refused, Silent };
inline constexpr int64_t kHostTimeoutMs = 5'000; // of one that is silent

struct RunPlan {
    struct Happening {
        Act act;
        int64_t atMs = 0;          // behind the start, or
        size_t atRecord = 0;       // once so many records are there; 0 = by the clock
        std::optional<State> in{}; // of that state, then
    };
    struct Fault {
        const char* call;
        int nth;
        int error;
    };

    uint64_t seed = 0;
    size_t yieldOneIn = 0; // how often another thread may run at a record; 0 = only where one waits

    bool gate = true;
    bool toolHangs = false;
    int64_t toolMs = 5;
    std::array<Answer, em::kSettings.size()> answers{}; // in the order of the settings
    int64_t delay = 60;                                 // seconds, as the others
    int64_t forceDelay = 0;
    bool job = false;
    int64_t jobMs = 0;
    int64_t jobLimit = 120;
    bool watcher = false;
    bool root = true;
    bool collectedElsewhere = false;
    int64_t offTimeMinutes = -1; // behind the start; -1 = none
    std::vector<Happening> happenings;
    std::vector<Fault> faults;
    int64_t stopAtMs = 0; // 0 = once nothing more comes
    bool stopsTwice = false;

    [[nodiscard]] static RunPlan drawn(uint64_t seed);
    [[nodiscard]] std::string text() const;
    [[nodiscard]] Answer answerOf(const Setting& setting) const;
    // What the answers come to, where there is none what the design says.
    [[nodiscard]] int64_t delayMs() const { return given(setting::kShutdownDelay, delay, 60) * 1000; }
    [[nodiscard]] int64_t forceDelaySeconds() const { return given(setting::kForceDelay, forceDelay, 120); }
    [[nodiscard]] int64_t jobLimitMs() const { return given(setting::kJobTimeout, jobLimit, 120) * 1000; }
    [[nodiscard]] int64_t jobRunsMs() const { return job ? given(setting::kJobName, jobMs, -1) : -1; }
    [[nodiscard]] int64_t offTime() const { return given(setting::kPowerOffTime, offTimeMinutes, -1); }
    // How long the host lets the module wait for answers that do not come.
    [[nodiscard]] int64_t silenceAheadOfDelayMs() const;
    [[nodiscard]] int64_t longestSilenceMs() const; // there or ahead of the job
    [[nodiscard]] bool happens(Act act) const;
    [[nodiscard]] bool fails(std::initializer_list<std::string_view> calls) const;
    // By which everything must have come to its end.
    [[nodiscard]] int64_t boundMs() const;

private:
    [[nodiscard]] int64_t silenceMs(const Setting& setting) const;
    [[nodiscard]] int64_t given(const Setting& setting, int64_t value, int64_t otherwise) const {
        return answerOf(setting) == Answer::Value ? value : otherwise;
    }
};

} // namespace em::test

// Whole runs, each drawn from one number.
//   --seed=N              that run alone: its plan and its trace
//   --first=N --count=N   so many from there
//   --seconds=N           as many as fit in
#include <iostream>

#include "rig/arguments.h"
#include "rig/left_behind.h"
#include "simulation/simulated_run.h"
#include "support/present_run.h"
#include "support/unit_test.h"

namespace em::test {
namespace {

constexpr uint64_t kMeetsAll = 2'000;
#ifdef EM_SANITIZED
constexpr uint64_t kCount = kMeetsAll / 10; // a run takes several times as long
#else
constexpr uint64_t kCount = kMeetsAll;
#endif

// Met by the runs of some numbers only: the state lasts for a few records, and the minute comes when it will.
constexpr std::pair<State, Event> kHardlyMet[] = {{State::Announced, Event::Schedule},
                                                  {State::Command, Event::Schedule},
                                                  {State::InName, Event::Schedule},
                                                  {State::Stopped, Event::Schedule}};

using Seconds = std::chrono::duration<double>;

struct Seeds : testing::Test {
    Seeds() { ::setenv("TZ", "UTC", 1); }

    const fake::Scope m_script;
    const TraceCapture m_trace{5};
};

TEST_F(Seeds, EachRunEndsAsTheTableSays) {
    const uint64_t only = argumentOr("seed", 0);
    const uint64_t first = only != 0 ? only : argumentOr("first", 1);
    const double seconds = static_cast<double>(argumentOr("seconds", 0));
    const uint64_t count = only != 0 ? 1 : seconds > 0 ? UINT64_MAX : argumentOr("count", kCount);

    static_cast<void>(simulate(RunPlan{})); // what the process keeps for good
    const LeftBehind left;
    OutcomeJudge::Cells met;
    const auto begin = std::chrono::steady_clock::now();
    uint64_t done = 0;
    Seconds took{};
    for (; done < count && (seconds == 0 || took.count() < seconds); ++done) {
        const RunPlan plan = RunPlan::drawn(first + done);
        setPresentRun("--seed=" + std::to_string(plan.seed));
        const RunResult result = simulate(plan, only != 0);
        ASSERT_EQ(result.fault, "") << plan.text() << result.trace << "again: --seed=" << plan.seed;
        met.insert(result.cells.begin(), result.cells.end());
        if (only != 0) {
            std::cout << plan.text() << result.trace << "status " << result.status << "\n";
        }
        took = std::chrono::steady_clock::now() - begin;
    }
    EXPECT_EQ(left.difference(), "");
    std::cout << done << " runs in " << took.count() << " s, "
              << static_cast<double>(done) * 3600 / took.count() << " an hour\n";
    const bool meetsAll = first == 1 && done >= kMeetsAll;
    for (size_t state = 0; only == 0 && state < kStates; ++state) {
        for (size_t event = 0; event < kEvents; ++event) {
            const std::pair cell(static_cast<State>(state), static_cast<Event>(event));
            if (!met.contains(cell)) {
                std::cout << "not met: " << nameOf(cell.first) << ", " << nameOf(cell.second) << "\n";
                EXPECT_TRUE(!meetsAll || std::ranges::count(kHardlyMet, cell) != 0)
                    << "no run meets " << nameOf(cell.first) << ", " << nameOf(cell.second);
            }
        }
    }
}

// Without what is anew each time: addresses, and the numbers of threads.
std::string comparable(std::string trace) {
    for (const auto& [begins, consists] :
         {std::pair("0x", "0123456789abcdefABCDEFx"), {"THREAD (", "THREAD (-0123456789"}}) {
        for (size_t at = trace.find(begins); at != std::string::npos; at = trace.find(begins, at)) {
            trace.erase(at, trace.find_first_not_of(consists, at) - at);
        }
    }
    return trace;
}

// The same number, the same run, record by record: what makes a failing one repeatable.
TEST_F(Seeds, OfOneNumberGiveOneRun) {
    for (uint64_t seed = 1; seed <= 40; ++seed) {
        const RunPlan plan = RunPlan::drawn(seed);
        setPresentRun("--seed=" + std::to_string(seed));
        EXPECT_EQ(comparable(simulate(plan, true).trace), comparable(simulate(plan, true).trace)) << seed;
    }
}

} // namespace
} // namespace em::test

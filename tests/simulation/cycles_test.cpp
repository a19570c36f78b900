// What nobody sees in one run: a thousand modules one behind the other, with and without a shutdown.
#include "rig/left_behind.h"
#include "simulation/simulated_run.h"
#include "support/present_run.h"
#include "support/unit_test.h"

namespace em::test {
namespace {

#ifdef EM_SANITIZED
constexpr int kCycles = 200; // they take several times as long
#else
constexpr int kCycles = 1'000;
#endif

TEST(Cycles, AThousandStartsAndStopsLeaveNothing) {
    const fake::Scope script;
    const TraceCapture trace(5);
    RunPlan plan;
    plan.watcher = true;
    plan.delay = 2;
    static_cast<void>(simulate(plan)); // what the process keeps for good
    const LeftBehind left;
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        setPresentRun("cycle " + std::to_string(cycle));
        const bool off = cycle % 2 != 0;
        const bool executed = cycle % 4 == 1; // the other one is met by Stop in its delay
        plan.happenings.assign(off ? 1 : 0, {Act::Off, 50});
        plan.stopAtMs = executed ? 0 : 100 + cycle; // also in the middle of a pass of the watcher
        const RunResult result = simulate(plan);
        ASSERT_EQ(result.fault, "") << cycle << result.trace;
        ASSERT_EQ(result.commands.size(), executed ? 1 : 0) << cycle;
        ASSERT_EQ(result.status, off ? 3U : 0U) << cycle;
    }
    EXPECT_EQ(left.difference(), "");
}

} // namespace
} // namespace em::test

// What nobody sees in one run: a thousand modules one behind the other, with and without a shutdown.
#include "rig/left_behind.h"
#include "simulation/simulated_run.h"
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
    const TraceCapture trace(1);
    RunPlan plan;
    plan.watcher = true;
    static_cast<void>(simulate(plan)); // what the process keeps for good
    const LeftBehind left;
    for (int cycle = 0; cycle < kCycles; ++cycle) {
        plan.stopAtMs = 100 + cycle; // also in the middle of a pass of the watcher
        const RunResult result = simulate(plan);
        ASSERT_EQ(result.fault, "") << cycle << result.trace;
        ASSERT_TRUE(result.commands.empty());
    }
    EXPECT_EQ(left.difference(), "");
}

} // namespace
} // namespace em::test

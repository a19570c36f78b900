#include "shutdown/shutdown_state.h"

#include <gtest/gtest.h>

#include <barrier>
#include <thread>

namespace em {
namespace {

using enum ShutdownStatus;

TEST(ShutdownStateTest, FromEachStatus) {
    const std::tuple<ShutdownStatus, ShutdownStatus, bool, bool> rows[] = {
        // The flag of a shutdown that has ended is stale.
        {None, None, false, false},
        {Requested, Cancelled, true, true},
        {DelayRunning, Cancelled, true, true},
        {Executing, Executing, false, true},
        {Cancelled, Cancelled, false, true},
        {Aborted, Aborted, false, false},
    };
    for (const auto& [met, cancelled, flag, flagKept] : rows) {
        ShutdownState state;
        state.setStatus(met);
        EXPECT_EQ(state.cancel(), met);
        EXPECT_EQ(state.status(), cancelled);
        EXPECT_EQ(state.isCancelled(), flag);

        ShutdownState flagged;
        flagged.setStatus(Requested);
        flagged.cancel();
        flagged.setStatus(met);
        EXPECT_TRUE(flagged.isCancelled()) << "a status leaves the flag";
        flagged.clearStaleCancelFlag();
        EXPECT_EQ(flagged.isCancelled(), flagKept) << static_cast<int>(met);
        flagged.clearCancelFlag();
        EXPECT_FALSE(flagged.isCancelled());
        EXPECT_EQ(flagged.status(), met);
    }
}

// Whichever comes first, the abort stays, and the flag is set only when the cancel met a pending shutdown.
TEST(ShutdownStateTest, ACancelBesideAnAbortIsOneStep) {
    constexpr int kRounds = 20'000;
    ShutdownState state;
    std::barrier together(2);
    std::thread abort([&] {
        for (int i = 0; i < kRounds; ++i) {
            together.arrive_and_wait();
            state.setStatus(Aborted);
            together.arrive_and_wait();
        }
    });
    int wrong = 0;
    for (int i = 0; i < kRounds; ++i) {
        state.clearCancelFlag();
        state.setStatus(Requested);
        together.arrive_and_wait();
        const ShutdownStatus met = state.cancel();
        together.arrive_and_wait();
        wrong += state.status() != Aborted || state.isCancelled() != (met == Requested) ? 1 : 0;
    }
    abort.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
} // namespace em

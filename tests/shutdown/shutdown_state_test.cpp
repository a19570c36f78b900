#include "shutdown/shutdown_state.h"

#include <gtest/gtest.h>

#include <barrier>
#include <optional>
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
        ShutdownState::Request request(flagged);
        EXPECT_EQ(flagged.isCancelled(), flagKept) << "a request's status leaves the flag";
        request.clearCancelFlag();
        request.stay();
        EXPECT_FALSE(flagged.isCancelled());
        EXPECT_EQ(flagged.status(), Requested);
    }
}

// A request that is not queued in the end leaves what it met, but for what others have made of it meanwhile.
TEST(ShutdownStateTest, OfARequestThatIsNotQueuedNothingIsLeft) {
    using Change = void (*)(ShutdownState&);
    constexpr Change nothing = [](ShutdownState&) {};
    constexpr Change delay = [](ShutdownState& state) { state.setStatus(DelayRunning); };
    constexpr Change cancel = [](ShutdownState& state) { state.cancel(); };
    constexpr Change cancelled = [](ShutdownState& state) {
        state.setStatus(DelayRunning);
        state.cancel();
    };
    constexpr Change abort = [](ShutdownState& state) { state.setStatus(Aborted); };
    constexpr Change another = [](ShutdownState& state) {
        ShutdownState::Request request(state);
        request.clearCancelFlag();
        request.stay();
    };
    constexpr Change anotherLost = [](ShutdownState& state) {
        ShutdownState::Request request(state);
        request.clearCancelFlag();
    };
    constexpr Change anotherTaken = [](ShutdownState& state) {
        another(state);
        state.setStatus(DelayRunning);
    };
    const std::tuple<const char*, Change, Change, Change, ShutdownStatus, bool> rows[] = {
        // what is there, what comes while the host is told, what comes behind the flag
        {"first of all", nothing, nothing, nothing, None, false},
        {"in a delay", delay, nothing, nothing, DelayRunning, false},
        {"behind one that waits", another, nothing, nothing, Requested, false},
        {"behind a cancel", cancelled, nothing, nothing, Cancelled, true},
        {"cancelled while the host is told", delay, cancel, nothing, Cancelled, true},
        {"cancelled later", delay, nothing, cancel, Cancelled, true},
        {"cancelled with nothing else there", nothing, nothing, cancel, None, false},
        {"behind an abort", abort, cancel, nothing, Aborted, false},
        {"the one before is aborted", cancelled, nothing, abort, Aborted, false},
        {"another one is queued", cancelled, nothing, another, Requested, false},
        {"another one is queued first", cancelled, another, nothing, Requested, false},
        {"another one is taken up", cancelled, nothing, anotherTaken, DelayRunning, false},
        {"the one before begins, and is cancelled", nothing, nothing, cancelled, Cancelled, true},
        {"another one is lost too", cancelled, anotherLost, nothing, Cancelled, true},
        {"another one is lost behind the flag", cancelled, nothing, anotherLost, Cancelled, true},
    };
    for (const auto& [name, before, whileTold, behind, status, flag] : rows) {
        SCOPED_TRACE(name);
        ShutdownState state;
        before(state);
        {
            ShutdownState::Request request(state);
            whileTold(state);
            request.clearCancelFlag();
            behind(state);
        }
        EXPECT_EQ(state.status(), status);
        EXPECT_EQ(state.isCancelled(), flag);
        delay(state);
        { const ShutdownState::Request next(state); }
        EXPECT_EQ(state.status(), DelayRunning) << "nor is anything left to the next one";
        EXPECT_EQ(state.isCancelled(), flag);
    }
    // Two of which the first ends first.
    ShutdownState state;
    cancelled(state);
    std::optional<ShutdownState::Request> first(std::in_place, state);
    first->clearCancelFlag();
    std::optional<ShutdownState::Request> second(std::in_place, state);
    first.reset();
    EXPECT_EQ(state.status(), Requested) << "the second may still be queued";
    second.reset();
    EXPECT_EQ(state.status(), Cancelled);
    EXPECT_TRUE(state.isCancelled());
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
        {
            ShutdownState::Request request(state);
            request.clearCancelFlag();
            request.stay();
        }
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

#include <atomic>
#include <thread>
#include <vector>

#include "platform/events/event_test_support.h"

namespace em::test {
namespace {

using Waits = EventTest;

TEST_F(Waits, EveryWayOfWakingEndsTheWait) {
    using Operation = bool (EventHandle::*)();
    for (const Operation wake :
         {&EventHandle::SetEvent, &EventHandle::PulseEvent, &EventHandle::CloseEvent}) {
        EventHandle event(false, false);
        m_trace.clear();
        std::thread waiter(
            [own = EventHandle(event)] { EXPECT_EQ(own.WaitForEvent(kLongMs, true), EVENT_SIGNALED); });
        waitUntilBlocked();
        EXPECT_TRUE((event.*wake)());
        waiter.join();
        EXPECT_FALSE(EventHandle(event).CheckEvent()) << "the wait took the signal";
        EXPECT_TRUE(m_trace.contains("SIGNAL(0,0) on event"));
    }
}

TEST_F(Waits, PulseWakesAllOfAManualResetEventAndLeavesNoState) {
    constexpr int waiters = 3;
    EventHandle event(false, true);
    std::vector<std::thread> threads;
    for (int i = 0; i < waiters; ++i) {
        m_trace.clear();
        threads.emplace_back([&] { EXPECT_EQ(event.WaitForEvent(kLongMs, true), EVENT_SIGNALED); });
        waitUntilBlocked();
    }
    EXPECT_FALSE(event.RecreateEvent(true, true)) << "somebody waits";
    event.PulseEvent();
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_FALSE(event.CheckEvent());
    EXPECT_TRUE(event.RecreateEvent(true, true));
}

// Two threads hand a turn to and fro. A wake-up that is lost runs into the time-out of a wait.
TEST_F(Waits, NoWakeUpIsLost) {
    constexpr int rounds = 5'000;
    EventHandle toFirst(false, false);
    EventHandle toSecond(false, false);
    std::atomic<int> turn{0};
    std::atomic<bool> bLost{false};
    const auto play = [&](int mine, EventHandle& wait, EventHandle& wake) {
        for (int round = mine; round < rounds && !bLost; round += 2) {
            while (turn != round && !bLost) {
                if (wait.WaitForEvent(10'000, false) != EVENT_SIGNALED) {
                    bLost = true;
                }
            }
            ++turn;
            wake.SetEvent();
        }
    };
    std::thread second([&] { play(1, toSecond, toFirst); });
    play(0, toFirst, toSecond);
    second.join();
    EXPECT_FALSE(bLost);
}

TEST_F(Waits, GoOnAfterAnInterruptionOnly) {
    const EventHandle event(false, false);
    fake::failNth("pthread_cond_timedwait", 1, EINTR, 3);
    EXPECT_EQ(event.WaitForEvent(0, true), EVENT_TIMEOUT);
    EXPECT_EQ(fake::calls("pthread_cond_timedwait"), 4);
    fake::failNth("pthread_cond_wait", 1, EPERM);
    EXPECT_EQ(event.WaitForEvent(EVENT_WAIT_FOREVER, true), EVENT_FAILED);
    EXPECT_TRUE(m_trace.contains("\nwaiting forever on event"));
    EXPECT_TRUE(m_trace.contains("FAILURE(0,1) on event"));
}

template <uint32_t TimeoutMs>
void* waitOn(void* event) {
    static_cast<void>(static_cast<EventHandle*>(event)->WaitForEvent(TimeoutMs, true));
    return nullptr;
}

TEST_F(Waits, CancelledThreadLeavesNothingBehind) {
    struct Wait {
        void* (*routine)(void*);
        const char* lastLine;
    };
    for (const Wait& wait :
         {Wait{waitOn<kLongMs>, "prepare time"}, Wait{waitOn<EVENT_WAIT_FOREVER>, "waiting forever"}}) {
        m_trace.clear();
        EventHandle event(false, false);
        pthread_t thread{};
        ASSERT_EQ(::pthread_create(&thread, nullptr, wait.routine, &event), 0);
        ASSERT_TRUE(m_trace.WaitForLine(wait.lastLine));
        ASSERT_EQ(::pthread_cancel(thread), 0);
        void* end = nullptr;
        ASSERT_EQ(::pthread_join(thread, &end), 0);
        EXPECT_EQ(end, PTHREAD_CANCELED);
        EXPECT_TRUE(event.RecreateEvent(true, true)) << "nobody counts as waiting";
        EXPECT_TRUE(event.ResetEvent()) << "the mutex is free";
    }
}

TEST_F(Waits, LastReleaseLetsTheWaitEndFirst) {
    EventHandle event(false, false);
    std::thread waiter([&] { EXPECT_EQ(event.WaitForEvent(200, true), EVENT_TIMEOUT); });
    waitUntilBlocked();
    fake::failNth("clock_nanosleep", 1, EINVAL, 0); // look again at once instead of once a second
    event.ReleaseEvent();
    EXPECT_GT(fake::calls("clock_nanosleep"), 0);
    waiter.join();
    EXPECT_TRUE(m_trace.contains("deleting event"));
}

// Nothing but the handle itself orders the two threads: the thread sanitizer sees a plain pointer in it.
TEST_F(Waits, ReleaseIsSeenByOtherThreads) {
    EventHandle event(false, false);
    std::atomic<bool> bReleased{false};
    std::thread releasing([&] {
        event.ReleaseEvent();
        bReleased.store(true, std::memory_order_relaxed);
    });
    while (!bReleased.load(std::memory_order_relaxed)) {
        std::this_thread::yield();
    }
    EXPECT_EQ(event.WaitForEvent(kLongMs, true), EVENT_FAILED);
    releasing.join();
}

TEST_F(Waits, BrokenMutexFailsTheWaitAndKeepsTheObject) {
    // Never released: its waiter count stays raised, so that would poll for ever.
    static EventHandle* const event = new EventHandle(true, false);
    const auto breakNextLock = [] { fake::failNth("pthread_mutex_lock", 1, EINVAL); };
    breakNextLock();
    EXPECT_EQ(event->WaitForEvent(kLongMs, true), EVENT_SIGNALED);
    EXPECT_FALSE(event->CheckEvent()) << "a signalled event is consumed all the same";
    breakNextLock();
    EXPECT_TRUE(event->SetEvent() && event->CheckEvent());
    breakNextLock();
    EXPECT_TRUE(event->ResetEvent() && !event->CheckEvent());
    breakNextLock();
    EXPECT_EQ(event->WaitForEvent(kLongMs, true), EVENT_FAILED);
    EXPECT_TRUE(m_trace.contains("FAILURE(22,0) on event"));
    EXPECT_FALSE(event->RecreateEvent(true, true));
}

} // namespace
} // namespace em::test

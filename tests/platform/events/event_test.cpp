// Events: what each operation does and writes, and waits of several threads.
#include "platform/events/event_handle.h"

#include <regex>

#include "platform/events/event_state.h"
#include "support/unit_test.h"

namespace em::test {
namespace {

constexpr uint32_t kLongMs = 60'000; // a wait that a test must end by other means

struct EventTest : testing::Test {
    // All lines since the last call, with "#" for addresses and for what the clock shows.
    std::string takeLines() {
        static const std::regex varying("(0x|sec=)([0-9a-f]{12}|[0-9]+)");
        const std::string text = std::regex_replace(m_trace.text(), varying, "$1#");
        m_trace.clear();
        return text;
    }
    // A thread that is blocked in the wait: it writes that line under the event's mutex, so a set or pulse
    // that comes after it finds the thread waiting.
    std::jthread blockOn(EventHandle& event, uint32_t timeoutMs = kLongMs, int32_t end = EVENT_SIGNALED) {
        m_trace.clear();
        std::jthread waiter([=, &event] { EXPECT_EQ(event.WaitForEvent(timeoutMs, true), end); });
        EXPECT_TRUE(m_trace.WaitForLine("prepare time for waiting"));
        return waiter;
    }

    fake::Scope m_script;
    TraceCapture m_trace{5};
};

TEST_F(EventTest, OperationsWriteTheirLines) {
    {
        EventHandle event(false, true);
        EXPECT_TRUE(event.SetEvent() && event.CheckEvent() && event.ResetEvent() && event.PulseEvent());
        EXPECT_TRUE(event.RecreateEvent(false, true)) << "both equal: no line";
        EXPECT_TRUE(event.RecreateEvent(true, false));
        { const EventHandle copy(event); }
        EXPECT_TRUE(event.CloseEvent());
    }
    EXPECT_EQ(takeLines(), "creating event 0x# <anon> (IsSignaled=0)\n"
                           "Set event 0x# <anon> IsSignaled=0 --> IsSignaled=1\n"
                           "Check event 0x# <anon> (IsSignaled=1)\n"
                           "Reset event 0x# <anon>: IsSignaled=1 --> IsSignaled=0\n"
                           "Pulse event 0x# <anon> IsSignaled=0 --> IsSignaled=0\n"
                           "Create event 0x# <anon>, changing attributes (IsSignaled=0,IsManual=1) --> "
                           "(IsSignaled=1,IsManual=0)\n"
                           "incr refcount on event 0x# <anon> (IsSignaled=1,IsManual=0)\n"
                           "decr refcount on event 0x# <anon> (IsSignaled=1)\n"
                           "Close event 0x# <anon> IsSignaled=1 --> IsSignaled=1\n"
                           "deleting event 0x# <anon> (IsSignaled=1)\n");
}

TEST_F(EventTest, WaitWritesItsLinesOnlyWhenAsked) {
    EventHandle event(true, false);
    EXPECT_TRUE(event.CheckEvent()) << "checking never clears";
    takeLines();
    EXPECT_EQ(event.WaitForEvent(1'500, true), EVENT_SIGNALED);
    EXPECT_EQ(event.WaitForEvent(0, true), EVENT_TIMEOUT);
    EXPECT_EQ(
        takeLines(),
        "\nwaiting 1500ms on event 0x#"
        "event 0x# <anon> (IsManual=0) has been already signaled --> New state: IsSignaled=0\n"
        "\nwaiting 0ms on event 0x#"
        "prepare time for waiting on event 0x# <anon> (ts_beg:sec=#,ts_beg:nsec=#) -> (ts:sec=#,ts:nsec=#)\n"
        "TIMEOUT(0,110) on event 0x# <anon> (IsSignaled=0)\n");
    EXPECT_EQ(event.WaitForEvent(0, false), EVENT_TIMEOUT);
    EXPECT_EQ(takeLines(), "");
}

TEST_F(EventTest, ClosedHandleFailsWhileOthersGoOn) {
    EventHandle event(false, true);
    const EventHandle before(event);
    EXPECT_TRUE(event.CloseEvent());
    const EventHandle after(event);
    takeLines();
    EXPECT_FALSE(event.CloseEvent() || event.SetEvent() || event.PulseEvent() || event.ResetEvent());
    EXPECT_FALSE(event.CheckEvent() || event.RecreateEvent(true, true));
    EXPECT_EQ(event.WaitForEvent(EVENT_WAIT_FOREVER, true), EVENT_FAILED);
    EXPECT_FALSE(event.IsEventOpen());
    EXPECT_TRUE(event.IsEventValid());
    EXPECT_EQ(takeLines(), "");
    EXPECT_TRUE(before.CheckEvent());
    EXPECT_TRUE(after.IsEventOpen()) << "a copy does not inherit the closing";
    EXPECT_EQ(after.WaitForEvent(0, true), EVENT_SIGNALED);
}

TEST_F(EventTest, EveryWayOfWakingEndsTheWait) {
    for (const auto wake : {&EventHandle::SetEvent, &EventHandle::PulseEvent, &EventHandle::CloseEvent}) {
        EventHandle event(false, false);
        EventHandle waiting(event);
        std::jthread waiter = blockOn(waiting);
        EXPECT_TRUE((event.*wake)());
        waiter.join();
        EXPECT_FALSE(waiting.CheckEvent()) << "the wait took the signal";
        EXPECT_TRUE(m_trace.contains("SIGNAL(0,0) on event"));
    }
}

TEST_F(EventTest, PulseWakesAllOfAManualResetEventAndLeavesNoState) {
    EventHandle event(false, true);
    std::vector<std::jthread> threads;
    for (int i = 0; i < 3; ++i) {
        threads.push_back(blockOn(event));
    }
    EXPECT_FALSE(event.RecreateEvent(true, true)) << "somebody waits";
    event.PulseEvent();
    threads.clear(); // joins
    EXPECT_FALSE(event.CheckEvent());
    EXPECT_TRUE(event.RecreateEvent(true, true));
}

// Two threads hand a turn to and fro. A wake-up that is lost runs into the time-out of a wait.
TEST_F(EventTest, NoWakeUpIsLost) {
    EventHandle toFirst(false, false);
    EventHandle toSecond(false, false);
    std::atomic<int> turn{0};
    std::atomic<bool> lost{false};
    const auto play = [&](int mine, EventHandle& wait, EventHandle& wake) {
        for (int round = mine; round < 5'000 && !lost; round += 2) {
            while (turn != round && !lost) {
                lost = wait.WaitForEvent(10'000, false) != EVENT_SIGNALED;
            }
            ++turn;
            wake.SetEvent();
        }
    };
    {
        const std::jthread second([&] { play(1, toSecond, toFirst); });
        play(0, toFirst, toSecond);
    }
    EXPECT_FALSE(lost);
}

TEST_F(EventTest, WaitsGoOnAfterAnInterruptionOnly) {
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

TEST_F(EventTest, CancelledThreadLeavesNothingBehind) {
    for (const bool timed : {true, false}) {
        m_trace.clear();
        EventHandle event(false, false);
        pthread_t thread{};
        const auto routine = timed ? &waitOn<kLongMs> : &waitOn<EVENT_WAIT_FOREVER>;
        ASSERT_EQ(::pthread_create(&thread, nullptr, routine, &event), 0);
        ASSERT_TRUE(m_trace.WaitForLine(timed ? "prepare time" : "waiting forever"));
        ASSERT_EQ(::pthread_cancel(thread), 0);
        ASSERT_EQ(::pthread_join(thread, nullptr), 0);
        EXPECT_TRUE(event.RecreateEvent(true, true)) << "nobody counts as waiting";
        EXPECT_TRUE(event.ResetEvent()) << "the mutex is free";
    }
}

TEST_F(EventTest, LastReleaseLetsTheWaitEndFirst) {
    EventHandle event(false, false);
    const std::jthread waiter = blockOn(event, 200, EVENT_TIMEOUT);
    fake::failNth("clock_nanosleep", 1, EINVAL, 0); // look again at once instead of once a second
    event.ReleaseEvent();
    EXPECT_GT(fake::calls("clock_nanosleep"), 0);
    EXPECT_TRUE(m_trace.contains("deleting event"));
}

// Nothing but the handle itself orders the two threads: the thread sanitizer sees a plain pointer in it.
TEST_F(EventTest, ReleaseIsSeenByOtherThreads) {
    EventHandle event(false, false);
    std::atomic<bool> released{false};
    const std::jthread releasing([&] {
        event.ReleaseEvent();
        released.store(true, std::memory_order_relaxed);
    });
    while (!released.load(std::memory_order_relaxed)) {
        std::this_thread::yield();
    }
    EXPECT_EQ(event.WaitForEvent(kLongMs, true), EVENT_FAILED);
}

TEST_F(EventTest, BrokenMutexFailsTheWaitAndKeepsTheObject) {
    // Never released: its waiter count stays raised, so that would poll for ever.
    static EventHandle& event = *new EventHandle(true, false);
    const auto broken = [] {
        fake::failNth("pthread_mutex_lock", 1, EINVAL);
        return &event;
    };
    EXPECT_EQ(broken()->WaitForEvent(kLongMs, true), EVENT_SIGNALED);
    EXPECT_FALSE(event.CheckEvent()) << "a signalled event is consumed all the same";
    EXPECT_TRUE(broken()->SetEvent() && event.CheckEvent());
    EXPECT_TRUE(broken()->ResetEvent() && !event.CheckEvent());
    EXPECT_EQ(broken()->WaitForEvent(kLongMs, true), EVENT_FAILED);
    EXPECT_TRUE(m_trace.contains("FAILURE(22,0) on event"));
    EXPECT_FALSE(event.RecreateEvent(true, true));
}

TEST_F(EventTest, SecondCreationOfANameJoinsTheFirst) {
    EventHandle first(false, true, "A");
    {
        EventHandle second(true, false, "A");
        EXPECT_FALSE(second.CheckEvent()) << "its initial state is not applied";
        second.SetEvent();
    }
    EXPECT_TRUE(first.CheckEvent());
    eventState.value.names.Remove("A", nullptr); // another event's name: this one stays
    takeLines();
    {
        const EventHandle third(false, true, "A");
        EXPECT_EQ(takeLines(), "refCount for event 0x# <A> incremented (IsSignaled=1)\n");
        const EventHandle fourth(false, false, "A");
        EXPECT_EQ(takeLines(), "refCount for event 0x# <A> incremented (IsSignaled=1)\n"
                               "WARNING: manual setting mismatch for event 0x# <A>\n");
    }
    EXPECT_EQ(takeLines(), "decr refcount on event 0x# <A> (IsSignaled=1)\n"
                           "decr refcount on event 0x# <A> (IsSignaled=1)\n");
    first.ReleaseEvent();
    EXPECT_EQ(takeLines(), "deleting event 0x# <A> (IsSignaled=1)\n");
    EXPECT_EQ(eventState.value.names.Find("A"), nullptr);
    EXPECT_FALSE(EventHandle(false, true, "A").CheckEvent()) << "a new object";

    const EventHandle nameless(true, true, "");
    EXPECT_TRUE(EventHandle(false, true, "").CheckEvent()) << "the empty name is one too";
}

TEST_F(EventTest, NamesSurviveThreadsThatCreateAndReleaseThem) {
    inThreads(4, [](int thread) {
        for (int round = 0; round < 300; ++round) {
            EventHandle event(false, true, (thread + round) % 2 == 0 ? "even" : "odd");
            EXPECT_TRUE(event.SetEvent());
            EXPECT_EQ(event.WaitForEvent(0, true), EVENT_SIGNALED);
            const EventHandle copy(event);
            EXPECT_TRUE(copy.CheckEvent());
        }
    });
    for (const char* name : {"even", "odd"}) {
        EXPECT_EQ(eventState.value.names.Find(name), nullptr);
    }
}

TEST_F(EventTest, RefusedCreationGivesAHandleWithoutObject) {
    const struct {
        const char *name, *call;
        int nth;
        std::string line = {};
    } refusals[] = {
        {nullptr, "malloc", 1},
        {"B", "malloc", 1},
        {"B", "strdup", 1}, // the object's own name
        {"B", "strdup", 2}, // the table's
        {nullptr, "pthread_condattr_setclock", 1,
         "pthread_condattr_setclock(): ## ERROR ##: Set CLOCK_MONOTONIC failed (ret=12) for event 0x# "
         "<anon>"},
        {"B", "pthread_condattr_setclock", 1,
         "pthread_condattr_setclock(): ## ERROR ##: Set CLOCK_MONOTONIC failed (ret=12) for event 0x# <B>"},
        {"B", "pthread_cond_init", 1,
         "pthread_cond_init(), CLOCK_MONOTONIC: ## ERROR ##: failed (ret=12) on event 0x# <B>"},
        {"B", "pthread_mutex_init", 1,
         "pthread_mutex_init(), CLOCK_MONOTONIC: ## ERROR ##: failed (ret=12) on event 0x# <B>"},
    };
    for (const auto& [name, call, nth, line] : refusals) {
        SCOPED_TRACE(call);
        takeLines();
        fake::failNth(call, nth, ENOMEM);
        EventHandle event(true, true, name);
        EXPECT_EQ(takeLines(), line.empty() ? "" : line + " (IsSignaled=1)\n");
        EXPECT_FALSE(event.SetEvent() || event.CheckEvent() || event.CloseEvent());
        EXPECT_EQ(event.WaitForEvent(EVENT_WAIT_FOREVER, true), EVENT_FAILED);
        EXPECT_TRUE(event.IsEventOpen());
        EXPECT_EQ(eventState.value.names.Find("B"), nullptr);
    }
    std::jthread([] { EXPECT_TRUE(EventHandle(true, true, "B").CheckEvent()); }); // no lock was left taken
}

} // namespace
} // namespace em::test

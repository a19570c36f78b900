#include <functional>

#include "platform/events/event_test_support.h"

namespace em::test {
namespace {

using Operations = EventTest;

TEST_F(Operations, WriteTheirLines) {
    {
        EventHandle event(false, true);
        EXPECT_TRUE(event.SetEvent());
        EXPECT_TRUE(event.CheckEvent());
        EXPECT_TRUE(event.ResetEvent());
        EXPECT_TRUE(event.PulseEvent());
        EXPECT_TRUE(event.RecreateEvent(false, true)) << "both equal: no line";
        EXPECT_TRUE(event.RecreateEvent(true, false));
        { const EventHandle copy(event); }
        EXPECT_TRUE(event.CloseEvent());
    }
    EXPECT_EQ(
        takeLines(),
        "creating event @ <anon> (IsSignaled=0)\n"
        "Set event @ <anon> IsSignaled=0 --> IsSignaled=1\n"
        "Check event @ <anon> (IsSignaled=1)\n"
        "Reset event @ <anon>: IsSignaled=1 --> IsSignaled=0\n"
        "Pulse event @ <anon> IsSignaled=0 --> IsSignaled=0\n"
        "Create event @ <anon>, changing attributes (IsSignaled=0,IsManual=1) --> (IsSignaled=1,IsManual=0)\n"
        "incr refcount on event @ <anon> (IsSignaled=1,IsManual=0)\n"
        "decr refcount on event @ <anon> (IsSignaled=1)\n"
        "Close event @ <anon> IsSignaled=1 --> IsSignaled=1\n"
        "deleting event @ <anon> (IsSignaled=1)\n");
}

TEST_F(Operations, WaitWritesItsLinesOnlyWhenAsked) {
    EventHandle event(true, false);
    takeLines();
    EXPECT_EQ(event.WaitForEvent(1'500, true), EVENT_SIGNALED);
    EXPECT_EQ(event.WaitForEvent(0, true), EVENT_TIMEOUT);
    EXPECT_EQ(
        takeLines(),
        "\nwaiting 1500ms on event @"
        "event @ <anon> (IsManual=0) has been already signaled --> New state: IsSignaled=0\n"
        "\nwaiting 0ms on event @"
        "prepare time for waiting on event @ <anon> (ts_beg:sec=#,ts_beg:nsec=#) -> (ts:sec=#,ts:nsec=#)\n"
        "TIMEOUT(0,110) on event @ <anon> (IsSignaled=0)\n");
    EXPECT_EQ(event.WaitForEvent(0, false), EVENT_TIMEOUT);
    EXPECT_EQ(takeLines(), "");
}

TEST_F(Operations, ResetModeDecidesHowManyWaitsOneSetServes) {
    EventHandle automatic(false, false);
    automatic.SetEvent();
    EXPECT_TRUE(automatic.CheckEvent()) << "checking never clears";
    EXPECT_EQ(automatic.WaitForEvent(EVENT_WAIT_FOREVER, true), EVENT_SIGNALED);
    EXPECT_EQ(automatic.WaitForEvent(0, true), EVENT_TIMEOUT);

    EventHandle manual(false, true);
    manual.SetEvent();
    EXPECT_EQ(manual.WaitForEvent(0, true), EVENT_SIGNALED);
    EXPECT_EQ(manual.WaitForEvent(0, true), EVENT_SIGNALED);
    manual.ResetEvent();
    EXPECT_EQ(manual.WaitForEvent(0, true), EVENT_TIMEOUT);

    manual.PulseEvent();
    EXPECT_EQ(manual.WaitForEvent(0, true), EVENT_TIMEOUT) << "a pulse without waiters is lost";
}

TEST_F(Operations, ClosedHandleFailsWhileOthersGoOn) {
    EventHandle event(false, true);
    const EventHandle before(event);
    EXPECT_TRUE(event.CloseEvent());
    const EventHandle after(event);
    takeLines();
    EXPECT_FALSE(event.CloseEvent());
    EXPECT_FALSE(event.SetEvent());
    EXPECT_FALSE(event.PulseEvent());
    EXPECT_FALSE(event.ResetEvent());
    EXPECT_FALSE(event.CheckEvent());
    EXPECT_FALSE(event.RecreateEvent(true, true));
    EXPECT_EQ(event.WaitForEvent(EVENT_WAIT_FOREVER, true), EVENT_FAILED);
    EXPECT_FALSE(event.IsEventOpen());
    EXPECT_TRUE(event.IsEventValid());
    EXPECT_EQ(takeLines(), "");
    EXPECT_TRUE(before.CheckEvent());
    EXPECT_TRUE(after.IsEventOpen()) << "a copy does not inherit the closing";
    EXPECT_EQ(after.WaitForEvent(0, true), EVENT_SIGNALED);
}

TEST_F(Operations, SecondReleaseDoesNothing) {
    EventHandle event(true, true);
    const EventHandle copy(event);
    event.ReleaseEvent();
    event.ReleaseEvent();
    EXPECT_TRUE(copy.CheckEvent());
    EXPECT_FALSE(event.CheckEvent());
    const EventHandle fromNothing(event);
    EXPECT_FALSE(fromNothing.CheckEvent());
    EXPECT_TRUE(fromNothing.IsEventOpen());
}

} // namespace
} // namespace em::test

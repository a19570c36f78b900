#include <thread>
#include <vector>

#include "platform/events/event_state.h"
#include "platform/events/event_test_support.h"

namespace em::test {
namespace {

using NamedEvents = EventTest;

TEST_F(NamedEvents, SecondCreationJoinsTheFirst) {
    EventHandle first(false, true, "A");
    {
        EventHandle second(true, false, "A");
        EXPECT_FALSE(second.CheckEvent()) << "its initial state is not applied";
        second.SetEvent();
    }
    EXPECT_TRUE(first.CheckEvent());
    takeLines();
    {
        const EventHandle third(false, true, "A");
        EXPECT_EQ(takeLines(), "refCount for event @ <A> incremented (IsSignaled=1)\n");
        const EventHandle fourth(false, false, "A");
        EXPECT_EQ(takeLines(), "refCount for event @ <A> incremented (IsSignaled=1)\n"
                               "WARNING: manual setting mismatch for event @ <A>\n");
    }
    EXPECT_EQ(takeLines(), "decr refcount on event @ <A> (IsSignaled=1)\n"
                           "decr refcount on event @ <A> (IsSignaled=1)\n");
    first.ReleaseEvent();
    EXPECT_EQ(takeLines(), "deleting event @ <A> (IsSignaled=1)\n");
    EXPECT_EQ(eventState.value.names.Find("A"), nullptr);
    EXPECT_FALSE(EventHandle(false, true, "A").CheckEvent()) << "a new object";

    const EventHandle nameless(true, true, "");
    EXPECT_TRUE(EventHandle(false, true, "").CheckEvent()) << "the empty name is one too";
}

TEST_F(NamedEvents, SurviveThreadsThatCreateAndReleaseThem) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([i] {
            for (int round = 0; round < 300; ++round) {
                EventHandle event(false, true, (i + round) % 2 == 0 ? "even" : "odd");
                EXPECT_TRUE(event.SetEvent());
                EXPECT_EQ(event.WaitForEvent(0, true), EVENT_SIGNALED);
                const EventHandle copy(event);
                EXPECT_TRUE(copy.CheckEvent());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(eventState.value.names.Find("even"), nullptr);
    EXPECT_EQ(eventState.value.names.Find("odd"), nullptr);
}

TEST_F(NamedEvents, RefusedCreationGivesAHandleWithoutObject) {
    const struct {
        const char* call;
        int nth;
        std::string line; // up to the name; "" when there is none
    } refusals[] = {
        {"pthread_condattr_setclock", 1,
         "pthread_condattr_setclock(): ## ERROR ##: Set CLOCK_MONOTONIC failed (ret=12) for event @ <"},
        {"pthread_cond_init", 1,
         "pthread_cond_init(), CLOCK_MONOTONIC: ## ERROR ##: failed (ret=12) on event @ <"},
        {"pthread_mutex_init", 1,
         "pthread_mutex_init(), CLOCK_MONOTONIC: ## ERROR ##: failed (ret=12) on event @ <"},
        {"malloc", 1, ""},
        {"strdup", 1, ""}, // the object's own name
        {"strdup", 2, ""}, // the table's
    };
    for (const char* name : {static_cast<const char*>(nullptr), "B"}) {
        for (const auto& refusal : refusals) {
            if (name == nullptr && refusal.call == std::string("strdup")) {
                continue;
            }
            SCOPED_TRACE(refusal.call);
            takeLines();
            fake::failNth(refusal.call, refusal.nth, ENOMEM);
            EventHandle event(true, true, name);
            EXPECT_EQ(takeLines(), refusal.line.empty() ? ""
                                                        : refusal.line + (name != nullptr ? name : "anon") +
                                                              "> (IsSignaled=1)\n");
            EXPECT_FALSE(event.SetEvent());
            EXPECT_FALSE(event.CheckEvent());
            EXPECT_FALSE(event.CloseEvent());
            EXPECT_EQ(event.WaitForEvent(EVENT_WAIT_FOREVER, true), EVENT_FAILED);
            EXPECT_TRUE(event.IsEventOpen());
            EXPECT_EQ(eventState.value.names.Find("B"), nullptr);
        }
    }
    std::thread([] {
        EXPECT_TRUE(EventHandle(true, true, "B").CheckEvent());
    }).join(); // no lock was left taken
}

TEST_F(NamedEvents, WithoutTheTableTheyAreUnlisted) {
    EventHandle before(false, true, "D");
    eventState.value.tearDown();
    EventHandle first(false, true, "D");
    EventHandle second(false, true, "D");
    first.SetEvent();
    EXPECT_TRUE(first.CheckEvent());
    EXPECT_FALSE(second.CheckEvent());
    EXPECT_FALSE(before.CheckEvent());
    before.ReleaseEvent();
    eventState.value.setUp();
    EventHandle listed(true, true, "D");
    first.ReleaseEvent(); // another event of the same name: leaves the listed one alone
    EXPECT_TRUE(EventHandle(false, true, "D").CheckEvent());
}

} // namespace
} // namespace em::test

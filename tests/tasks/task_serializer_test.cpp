#include "tasks/task_serializer.h"

#include <climits>
#include <future>

#include "tasks/recording_serializer.h"
#include "tasks/task_ring.h"

namespace em::test {
namespace {

constexpr const char* kLocked = "\nCTaskSerializer     : Manager locked for Tasks at level ";

TEST_F(TaskSerializerTest, TheTenthTaskIsRefused) {
    RecordingSerializer serializer;
    bool nested = true;
    serializer.queueFull = [&](const Note& note, int level) {
        EXPECT_EQ(note.number, 10);
        nested = serializer.refusals == 1 && serializer.InsertTask(note, level, nullptr);
    };
    serializer.fill(9);
    capture.clear();
    EXPECT_FALSE(serializer.insert(10));
    EXPECT_FALSE(nested) << "the lock is taken again by its owner";
    EXPECT_EQ(serializer.refusals, 2);
    EXPECT_EQ(count("\nCTaskSerializer     : ## ERROR! Task queue for priority 0 is full"), 2U);
    EXPECT_EQ(Note::copies, 9) << "what is refused as full is not copied";

    serializer.StartSerialization();
    ASSERT_TRUE(serializer.waitForExecuted(9));
    EXPECT_EQ(serializer.executed(), (std::vector<int>{1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(TaskSerializerTest, ALevelThatIsNotThereRefusesWithoutACopy) {
    RecordingSerializer serializer;
    for (const int level : {-1, 1, INT_MAX, INT_MIN}) {
        capture.clear();
        EXPECT_FALSE(serializer.insert(1, level));
        EXPECT_EQ(capture.text(), "\nCTaskSerializer     : Task at level " + std::to_string(level) +
                                      " raised" + kLocked + std::to_string(level) + ". Task ignored!");
    }
    EXPECT_EQ(Note::copies, 0);
    EXPECT_EQ(serializer.refusals, 0);
}

TEST_F(TaskSerializerTest, TheHighestLevelGoesFirst) {
    RecordingSerializer serializer(3);
    serializer.execution = [&](Note& note, int level) {
        EXPECT_EQ(note.number / 10, level);
        if (note.number == 20) {
            EXPECT_TRUE(serializer.insert(22, 2)) << "chosen afresh after each task";
        }
    };
    std::vector<int> emptied;
    serializer.queueEmpty = [&](int level) { emptied.push_back(level); };
    for (const int number : {0, 10, 20, 1, 11, 21}) {
        ASSERT_TRUE(serializer.insert(number, number / 10));
    }
    serializer.StartSerialization();
    ASSERT_TRUE(serializer.waitForExecuted(7));
    serializer.TerminateSerialization();
    EXPECT_EQ(serializer.executed(), (std::vector<int>{20, 21, 22, 10, 11, 0, 1}));
    EXPECT_EQ(emptied, (std::vector<int>{2, 1, 0}));
    EXPECT_TRUE(serializer.starts == 1 && serializer.exits == 1);
}

TEST_F(TaskSerializerTest, TerminatingWaitsForTheRunningTaskAndDropsTheOthers) {
    RecordingSerializer serializer;
    std::promise<void> open;
    std::atomic<bool> finished{false};
    serializer.execution = [&](Note&, int) {
        open.get_future().wait();
        finished = true;
    };
    EventHandle dropped(false, true);
    serializer.StartSerialization();
    ASSERT_TRUE(serializer.insert(1));
    ASSERT_TRUE(serializer.waitForExecuted(1));
    ASSERT_TRUE(serializer.insert(2, 0, &dropped));
    ASSERT_TRUE(serializer.insert(3, 0, &dropped));
    auto opener = std::async(std::launch::async, [&] {
        EXPECT_TRUE(capture.WaitForLine("termination with timeout"));
        open.set_value();
    });
    serializer.TerminateSerialization();
    EXPECT_TRUE(finished);
    EXPECT_FALSE(serializer.IsHandlerAlive());
    EXPECT_EQ(serializer.executed(), std::vector<int>{1});
    EXPECT_FALSE(dropped.CheckEvent());
    EXPECT_EQ(Note::alive, 0);

    EXPECT_FALSE(serializer.insert(4));
    serializer.StartSerialization();
    EXPECT_TRUE(serializer.IsHandlerAlive()) << "the handler may run again";
    EXPECT_FALSE(serializer.insert(5)) << "but nothing enables the inserts";
    EXPECT_EQ(count(kLocked), 2U);
}

TEST_F(TaskSerializerTest, AnInsertThatRacesWithAPurgeIsRefused) {
    RecordingSerializer serializer;
    Note note(1);
    note.whenCopied = [&] {
        serializer.DisableAllTasks();
        serializer.RemoveAllTasks();
    };
    EXPECT_FALSE(serializer.InsertTask(note, 0, nullptr)) << "disabled between its first test and the lock";
    EXPECT_EQ(count("\nCTaskSerializer     : Manager locked for Tasks at level 0. Task ignored!"), 1U);
    EXPECT_EQ(Note::alive, 1) << "only the caller's own";
    serializer.StartSerialization();
    EXPECT_EQ(serializer.executed(), std::vector<int>{});
}

// What throws or fails.
constexpr const char* kException = "\n\nCTaskSerializer     : ## EXCEPTION in OnTaskExecution()! ##";

TEST_F(TaskSerializerTest, ATaskThatThrowsEndsNothing) {
    RecordingSerializer serializer;
    serializer.execution = [](Note& note, int) {
        if (note.number == 1) {
            throw std::runtime_error("lost");
        }
    };
    serializer.queueEmpty = [](int) { throw 1; };
    EventHandle done(false, true);
    ASSERT_TRUE(serializer.insert(1, 0, &done));
    ASSERT_TRUE(serializer.insert(2));
    serializer.StartSerialization();
    ASSERT_TRUE(serializer.waitForExecuted(2));
    ASSERT_TRUE(capture.WaitForLine("EXCEPTION in OnTaskQueueEmpty()! ##"));
    EXPECT_TRUE(done.CheckEvent());
    EXPECT_EQ(count(kException), 1U);
    EXPECT_TRUE(serializer.insert(3)) << "the lock is free";
    EXPECT_TRUE(serializer.waitForExecuted(3));
}

TEST_F(TaskSerializerTest, ARefusalWhoseCallbackThrowsLeavesTheLockFree) {
    RecordingSerializer serializer;
    serializer.queueFull = [](const Note&, int) { throw std::runtime_error("lost"); };
    serializer.fill(9);
    EXPECT_THROW(serializer.insert(10), std::runtime_error);
    EXPECT_EQ(Note::alive, 9);
    serializer.StartSerialization();
    EXPECT_TRUE(serializer.waitForExecuted(9));
}

TEST_F(TaskSerializerTest, AnExternalEventThatCannotBeSetIsTraced) {
    RecordingSerializer serializer;
    EventHandle closed(false, true);
    closed.CloseEvent();
    ASSERT_TRUE(serializer.insert(1, 0, &closed));
    serializer.StartSerialization();
    char line[80];
    std::snprintf(line, sizeof line, "\nCTaskSerializer     : ERROR setting external event object 0x%X!",
                  asUnsigned(&closed));
    EXPECT_TRUE(capture.WaitForLine(line));
}

TEST_F(TaskSerializerTest, AThreadThatCannotBeStarted) {
    RecordingSerializer serializer;
    fake::failNth("pthread_create", 1, EAGAIN);
    fake::failNth("clock_nanosleep", 1, EINTR);
    serializer.StartSerialization();
    EXPECT_EQ(fake::calls("clock_nanosleep"), 2) << "a signal does not shorten the settling time";
    EXPECT_FALSE(serializer.IsHandlerAlive());
    ASSERT_TRUE(serializer.insert(1));
    capture.clear();
    serializer.TerminateSerialization();
    EXPECT_EQ(capture.text(), "\nCTaskSerializer     : TerminateSerialization!"
                              "\nCTaskSerializer     :   terminated");
    serializer.StartSerialization();
    EXPECT_TRUE(serializer.waitForExecuted(1)) << "nothing was there to stop, so nothing was dropped";
}

TEST_F(TaskSerializerTest, WithoutAWakeEventTheHandlerLooksFromTimeToTime) {
    fake::failNth("pthread_condattr_setclock", 1, EINVAL);
    RecordingSerializer serializer;
    serializer.StartSerialization();
    ASSERT_TRUE(serializer.insert(1));
    EXPECT_TRUE(serializer.waitForExecuted(1));
    serializer.TerminateSerialization();
    EXPECT_LE(count("Waiting on task queue"), static_cast<size_t>(fake::calls("clock_nanosleep")))
        << "each failed wait sleeps";
}

// Without the fixture: nobody keeps the lines of so many tasks.
TEST(TaskSerializerStress, TasksNeverOverlapAndNoneRunsAfterAPurgeUnderFire) {
    Note::alive = 0;
    RecordingSerializer serializer(2);
    std::atomic<int> running{0};
    serializer.execution = [&](Note&, int) {
        EXPECT_EQ(++running, 1) << "two tasks at a time";
        --running;
    };
    serializer.StartSerialization();
    std::atomic<int> accepted{0};
    std::atomic<bool> go{true};
    const auto insertWhileGoing = [&](int /*thread*/) {
        while (go) {
            accepted += serializer.insert(1, accepted % 2) ? 1 : 0;
            std::this_thread::yield();
        }
    };
    const auto fire = [&] { return std::jthread([&] { inThreads(4, insertWhileGoing); }); };
    std::jthread fires = fire();
    EXPECT_TRUE(serializer.waitForExecuted(500));
    go = false;
    fires.join();
    EXPECT_TRUE(serializer.waitForExecuted(static_cast<size_t>(accepted))) << "none is lost";

    go = true;
    fires = fire();
    EXPECT_TRUE(serializer.waitForExecuted(static_cast<size_t>(accepted) + 10));
    serializer.DisableAllTasks();
    serializer.RemoveAllTasks();
    // The one that was running may end; whatever is executed later came out of a disabled queue.
    serializer.TerminateSerialization();
    const size_t executed = serializer.executed().size();
    serializer.StartSerialization();
    go = false;
    fires.join();
    EXPECT_EQ(serializer.executed().size(), executed);
    EXPECT_EQ(Note::alive, 0);
}

TEST(TaskRing, HoldsNineInOrderWhereverItWraps) {
    TaskRing ring;
    std::array<int, 100> tasks{};
    size_t read = 0;
    for (size_t written = 0; written < tasks.size(); ++written) {
        if (written >= 9) {
            ASSERT_FALSE(ring.push(&tasks[written])) << "a tenth";
            ASSERT_EQ(ring.pop(), &tasks[read++]);
        }
        ASSERT_TRUE(ring.push(&tasks[written]));
    }
    ring.reset();
    EXPECT_EQ(ring.pop(), nullptr);
    ASSERT_TRUE(ring.push(&tasks[0]));
    EXPECT_EQ(ring.pop(), &tasks[0]);
}

} // namespace
} // namespace em::test

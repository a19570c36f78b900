#include <stdexcept>

#include "tasks/recording_serializer.h"

namespace em::test {
namespace {

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
    EXPECT_EQ(count(kException), 1);
    EXPECT_TRUE(serializer.insert(3)) << "the lock is free";
    EXPECT_TRUE(serializer.waitForExecuted(3));
}

TEST_F(TaskSerializerTest, ARefusalWhoseCallbackThrowsLeavesTheLockFree) {
    RecordingSerializer serializer;
    serializer.queueFull = [](const Note&, int) { throw std::runtime_error("lost"); };
    for (int number = 0; number < 9; ++number) {
        ASSERT_TRUE(serializer.insert(number));
    }
    EXPECT_THROW(serializer.insert(9), std::runtime_error);
    EXPECT_EQ(Note::alive, 9);
    serializer.StartSerialization();
    EXPECT_TRUE(serializer.waitForExecuted(9));
}

TEST_F(TaskSerializerTest, ALineAroundATaskThatThrowsShowsAsItsExceptionAndTheTaskRuns) {
    for (const char* part : {"Process Task", "completed"}) {
        capture.clear();
        capture.throwOn(part);
        RecordingSerializer serializer;
        EventHandle done(false, true);
        ASSERT_TRUE(serializer.insert(1, 0, &done)) << part;
        serializer.StartSerialization();
        EXPECT_EQ(done.WaitForEvent(10'000, false), EVENT_SIGNALED) << part;
        EXPECT_EQ(serializer.executed(), std::vector<int>{1}) << part;
        EXPECT_EQ(count(kException), 1) << part;
    }
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
    EXPECT_LE(count("Waiting on task queue"), fake::calls("clock_nanosleep")) << "each failed wait sleeps";
}

} // namespace
} // namespace em::test

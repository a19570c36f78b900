#include <cerrno>
#include <stdexcept>

#include "tasks/recording_serializer.h"

namespace em::test {
namespace {

constexpr const char* kException = "\n\nCTaskSerializer     : ## EXCEPTION in ";

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
    EXPECT_EQ(count((std::string(kException) + "OnTaskExecution()! ##").c_str()), 1);
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

TEST_F(TaskSerializerTest, AThrowingDebugObjectChangesNoOutcome) {
    twin::failNth("clock_nanosleep", 1, EINVAL, 0); // nothing here needs the settling times
    for (const char* part :
         {"Enable all", "raised", "inserted into", "StartSerialization", "SetThreadName", "START THREAD",
          "Waiting on", "Wakeup", "Checking", "completed", "External event object", "Terminate",
          "Disable all", "pending tasks", "terminated", "destroyed", "EXIT THREAD", "THREAD_RETURN"}) {
        capture.throwOn(part);
        EventHandle done(false, true);
        RecordingSerializer serializer;
        EXPECT_TRUE(serializer.insert(1, 0, &done)) << part;
        EXPECT_TRUE(serializer.insert(2)) << part;
        serializer.StartSerialization();
        EXPECT_TRUE(serializer.waitForExecuted(2)) << part;
        EXPECT_TRUE(done.CheckEvent()) << part;
        serializer.TerminateSerialization();
        EXPECT_FALSE(serializer.IsHandlerAlive()) << part;
        capture.throwOn("");
    }
    EXPECT_EQ(count((std::string(kException) + "OnTaskExecution()! ##").c_str()), 2)
        << "a task whose last line throws counts as one that threw";
    EXPECT_EQ(count("## EXCEPTION setting external event object 0x"), 1);
}

TEST_F(TaskSerializerTest, ATaskWhoseFirstLineThrowsIsNotExecutedButSignalled) {
    RecordingSerializer serializer;
    capture.throwOn("Process Task");
    EventHandle done(false, true);
    ASSERT_TRUE(serializer.insert(1, 0, &done));
    serializer.StartSerialization();
    EXPECT_EQ(done.WaitForEvent(10'000, false), EVENT_SIGNALED);
    EXPECT_EQ(serializer.executed(), std::vector<int>{});
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
    twin::failNth("pthread_create", 1, EAGAIN);
    twin::failNth("clock_nanosleep", 1, EINTR);
    serializer.StartSerialization();
    EXPECT_EQ(twin::calls("clock_nanosleep"), 2) << "a signal does not shorten the settling time";
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
    twin::failNth("pthread_condattr_setclock", 1, EINVAL);
    RecordingSerializer serializer;
    serializer.StartSerialization();
    ASSERT_TRUE(serializer.insert(1));
    EXPECT_TRUE(serializer.waitForExecuted(1));
    serializer.TerminateSerialization();
    EXPECT_LE(count("Waiting on task queue"), twin::calls("clock_nanosleep")) << "each failed wait sleeps";
}

} // namespace
} // namespace em::test

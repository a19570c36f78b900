#include "platform/threads/thread.h"

#include "platform/threads/thread_boundary.h"
#include "support/unit_test.h"

namespace em {
namespace {

std::string digits(uint64_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "%08X", asUnsigned(value));
    return text;
}

void* returnsArgument(void* argument) {
    return argument;
}

// A thread that runs until the test lets it go.
struct Gate {
    std::promise<void> open;
    std::atomic<bool> passed{false};

    static void* routine(void* gate) {
        auto& self = *static_cast<Gate*>(gate);
        self.open.get_future().wait();
        self.passed = true;
        return nullptr;
    }
};

// A thread that waits for its cancellation; its end shows that it was unwound.
struct Cancellable {
    std::promise<void> begun;
    std::promise<void> unwound;

    static void* routine(void* cancellable) {
        struct Unwinding {
            Cancellable& self;
            ~Unwinding() { self.unwound.set_value(); }
        };
        return runThreadBody("Cancellable()", [cancellable] {
            const Unwinding unwinding{*static_cast<Cancellable*>(cancellable)};
            unwinding.self.begun.set_value();
            for (;;) { // no blocking call: the thread sanitizer loses track of a thread cancelled in one
                ::pthread_testcancel();
                ::sched_yield();
            }
        });
    }
};

struct ThreadTest : testing::Test {
    test::TraceCapture capture{5};
    fake::Scope scope;
    CThread thread;

    bool start(CThread::Routine routine, void* argument, bool waitable, int32_t prio = 0) {
        return thread.Start(routine, argument, prio, false, 0, false, waitable);
    }
    void startDetached(Cancellable& cancellable) {
        ASSERT_TRUE(start(&Cancellable::routine, &cancellable, false));
        cancellable.begun.get_future().wait();
    }
    // Its handle, as the lines show it behind "0x".
    [[nodiscard]] std::string id() const { return digits(thread.Handle()); }
};

TEST_F(ThreadTest, WithoutAThread) {
    EXPECT_TRUE(thread.WaitForTermination(0));
    EXPECT_FALSE(thread.Kill());
    thread.JoinSilently();
    EXPECT_FALSE(thread.IsAlive());
    CThread::SetThreadName(0x112345678, nullptr, "_TaskHandler");
    EXPECT_EQ(capture.text(),
              "\nCThread::WaitForTermination: Thread = 0x000000000 doesn't exist !"
              "\nCThread::Kill: Try to kill the Thread = 0x00000000"
              "\nCThread::Kill: Thread = 0x000000000 doesn't exist !"
              "CThread::SetThreadName: ThreadId = 0x12345678, DebugName = , Qualifier = (_TaskHandler)\n");
    EXPECT_EQ(fake::calls("pthread_join") + fake::calls("pthread_getschedparam"), 0);
}

TEST_F(ThreadTest, StartKillsARecordedThreadWhenAskedAndKillJoins) {
    Gate gate;
    thread.SetKillAliveThread(true);
    ASSERT_TRUE(start(&Gate::routine, &gate, true));
    const std::string id = this->id();
    capture.clear();
    auto opener = std::async(std::launch::async, [&] {
        EXPECT_TRUE(capture.WaitForLine("Try to join a joinable"));
        gate.open.set_value();
    });
    ASSERT_TRUE(thread.Start(&returnsArgument, nullptr, 0, true, 0x1000, false, true));
    EXPECT_TRUE(gate.passed);
    EXPECT_EQ(fake::calls("pthread_cancel"), 0);
    EXPECT_EQ(capture.text(),
              "\nCThread::Start: Start a thread, Prio=0, Suspend=1, StackSize=0x00001000, Waitable=1, "
              "KillAliveThread=1"
              "\nCThread::Kill: Try to kill the Thread = 0x" +
                  id + "\nCThread::Kill: Try to join a joinable Thread = 0x" + id +
                  "\nCThread::Kill: a joinable Thread = 0x" + id +
                  " has terminated, pstat=(nil)"
                  "\npthread_attr_init: 0\nThreadPrio=0"
                  "\nCThread::Start: thread=0x" +
                  this->id() + " created, Prio=0, Waitable=1, StackSize=0x1000");
    thread.JoinSilently();
}

TEST_F(ThreadTest, AJoinThatFailsKeepsTheHandle) {
    ASSERT_TRUE(start(&returnsArgument, nullptr, true));
    const std::string failed = "ERROR ! ThreadJoin failed, Thread = 0x" + id() + ", Err = 0x00000023";
    fake::failNth("pthread_join", 1, EDEADLK, 2);
    EXPECT_FALSE(thread.WaitForTermination(0xFFFFFFFF));
    EXPECT_FALSE(thread.Kill());
    EXPECT_NE(thread.Handle(), 0U);
    EXPECT_TRUE(capture.contains("\nCThread::WaitForTermination: " + failed));
    EXPECT_TRUE(capture.contains("\nCThread::Kill: " + failed));
    capture.clear();
    thread.JoinSilently();
    EXPECT_EQ(thread.Handle(), 0U);
    EXPECT_EQ(capture.text(), "");
}

TEST_F(ThreadTest, EachFailureOfStartIsTracedAndLeavesWhatWasThere) {
    Gate gate;
    ASSERT_TRUE(start(&Gate::routine, &gate, true));
    const pthread_t running = thread.Handle();
    for (const std::string call :
         {"pthread_attr_init", "pthread_attr_setdetachstate", "pthread_attr_setschedpolicy",
          "pthread_attr_getschedparam", "pthread_attr_setschedparam", "pthread_create"}) {
        capture.clear();
        fake::failNth(call, 1, EAGAIN);
        errno = 0;
        EXPECT_FALSE(start(&returnsArgument, nullptr, false, 83)) << call;
        EXPECT_EQ(errno, EAGAIN) << call;
        const bool priority = call == "pthread_attr_setschedparam";
        EXPECT_EQ(capture.lines().back().text,
                  "\n" + call + (priority ? " failed: error=11 priority=83" : " failed: 11"));
        EXPECT_EQ(thread.Handle(), running);
    }
    gate.open.set_value();
    EXPECT_TRUE(thread.WaitForTermination(0xFFFFFFFF)) << "it is still the joinable thread";
}

TEST_F(ThreadTest, PriorityGoesIntoTheAttributeAndNowhereElse) {
    ASSERT_TRUE(start(&returnsArgument, nullptr, true));
    EXPECT_EQ(fake::calls("pthread_attr_setschedpolicy"), 0);
    thread.JoinSilently();
    int policy = -1;
    ASSERT_TRUE(start(
        [](void* out) -> void* {
            sched_param parameter{};
            ::pthread_getschedparam(::pthread_self(), static_cast<int*>(out), &parameter);
            return nullptr;
        },
        &policy, true, 63));
    thread.JoinSilently();
    EXPECT_EQ(fake::calls("pthread_attr_setschedparam"), 1);
    EXPECT_EQ(policy, SCHED_OTHER) << "the creator's scheduling is inherited";
}

TEST_F(ThreadTest, ADetachedThreadIsCancelled) {
    Cancellable cancellable;
    startDetached(cancellable);
    const std::string id = this->id();
    EXPECT_TRUE(thread.IsAlive());
    capture.clear();
    EXPECT_FALSE(thread.WaitForTermination(0xFFFFFFFF));
    EXPECT_TRUE(thread.Kill());
    EXPECT_EQ(thread.Handle(), 0U);
    cancellable.unwound.get_future().wait();
    EXPECT_EQ(capture.text(), "\nCThread::WaitForTermination: WARNING: Can't wait for detached thread 0x" +
                                  id + "\nCThread::Kill: Try to kill the Thread = 0x" + id +
                                  "\nCThread::Kill: Try to kill a non-joinable Thread = 0x0" + id +
                                  "\nCThread::Kill: Killing a non-joinable thread 0x" + id +
                                  "\nCThread::Kill: a non-joinable thread 0x" + id + " cancel invoked")
        << "a cancelled thread writes no line of its own";
}

TEST_F(ThreadTest, AnEndedDetachedThreadIsNotTouched) {
    ASSERT_TRUE(start(&returnsArgument, nullptr, false));
    const std::string id = this->id();
    while (thread.IsAlive()) {
        ::sched_yield();
    }
    capture.clear();
    EXPECT_TRUE(thread.Kill());
    EXPECT_EQ(thread.Handle(), 0U);
    EXPECT_EQ(fake::calls("pthread_cancel") + fake::calls("pthread_getschedparam"), 0);
    EXPECT_EQ(capture.text(), "\nCThread::Kill: Try to kill the Thread = 0x" + id +
                                  "\nCThread::Kill: Try to kill a non-joinable Thread = 0x0" + id);
}

TEST_F(ThreadTest, ARefusedCancelForgetsTheThread) {
    Cancellable cancellable;
    startDetached(cancellable);
    const pthread_t running = thread.Handle();
    fake::failNth("pthread_cancel", 1, EPERM);
    EXPECT_FALSE(thread.Kill());
    EXPECT_EQ(thread.Handle(), 0U);
    EXPECT_TRUE(capture.contains(" (err = 0x00000001)"));
    ASSERT_EQ(::pthread_cancel(running), 0);
    cancellable.unwound.get_future().wait();
}

TEST_F(ThreadTest, TheBoundaryOfARoutine) {
    runThreadBody("WorkerThread()", [] { throw std::runtime_error("lost"); });
    EXPECT_EQ(capture.text(), "\n\nEM_SHUTDOWN         : ## EXCEPTION in WorkerThread()! ##"
                              "THREAD_RETURN: ## INFO: Thread = 0x" +
                                  digits(::pthread_self()) + " exited, Return = 0x00000000##\n");
}

} // namespace
} // namespace em

// Hosts that throw, whose threads are cancelled or that are not root, and stops that meet no started module
// or the handler's own thread.
#include "module/module_test.h"

namespace em::test {
namespace {

constexpr const char* kOffNow = R"({"OC":517,"DA":1})"; // by the power switch, so without a delay
constexpr const char* kCompleted = " at level 0 completed";
constexpr const char* kCancel = R"({"OC":521})";

// A module and the record of its commands.
class FaultTest : public testing::Test {
protected:
    void start() { ASSERT_TRUE(m_module.start()); }
    void requestAndWait(const char* command = kOffNow) {
        static_cast<void>(m_module.request(command));
        ASSERT_TRUE(recording().waitFor(kCompleted)) << recording().shown();
    }
    static void expectOnce(const char* line) {
        EXPECT_EQ(recording().count(line), 1U) << recording().shown();
    }
    Lines commands(size_t expected) const { return commandLines(m_commands, expected); }

    // Calls the module on a thread of the host that is cancelled from the start; returns the thread's value.
    void* cancelledIn(void (*call)(HostedModule&)) {
        m_call = call;
        // Its frame holds no locals: the address sanitizer keeps those of an unwound frame poisoned.
        const auto cancelled = [](void* test) -> void* {
            ::pthread_cancel(::pthread_self());
            static_cast<FaultTest*>(test)->m_call(static_cast<FaultTest*>(test)->m_module);
            ::pthread_testcancel();
            return nullptr;
        };
        pthread_t thread{};
        EXPECT_EQ(::pthread_create(&thread, nullptr, cancelled, this), 0);
        void* value = nullptr;
        EXPECT_EQ(::pthread_join(thread, &value), 0);
        return value;
    }

    const volad_dev::CommandRecorder m_commands;
    HostedModule m_module{5};

private:
    void (*m_call)(HostedModule&) = nullptr;
};

TEST_F(FaultTest, ThrowingHostNeitherEndsTheProcessNorTheScenario) {
    m_module.host.throwAlways();
    start();
    EXPECT_TRUE(recording().contains("\"Tellmark Host Warden\" registered"));
    EXPECT_EQ(m_module.request(kOffNow), "true " + withCommand(R"({"OC":517,"DA":1,"ST":0})"));
    ASSERT_TRUE(recording().waitFor(kCompleted));
    EXPECT_TRUE(recording().contains("\n\nEM_SHUTDOWN         : ## EXCEPTION in "));
    EXPECT_EQ(commands(1), Lines{"/sbin/poweroff"});
    EXPECT_EQ(m_module.status(), 3U);
    EXPECT_EQ(m_module.stop(), 1U);
    EXPECT_TRUE(m_module.destroy());
}

// A cancelled host thread unwinds out of Start with the handler running and a delay in it.
TEST_F(FaultTest, StopEndsWhatACancelledStartLeftBehind) {
    m_module.host.answer(kDelay, "1800");
    static_cast<void>(m_module.request(R"({"OC":517})"));
    EXPECT_EQ(cancelledIn([](HostedModule& module) { module.start(); }), PTHREAD_CANCELED);
    m_module.afterStart();
    ASSERT_TRUE(recording().waitFor("Start shutdown delay")) << recording().shown();
    EXPECT_FALSE(recording().contains("### Start of module"));
    EXPECT_EQ(m_module.stop(), 1U);
    EXPECT_TRUE(recording().contains("### Stop of module EM_SHUTDOWN completed successfully ###"));
    EXPECT_TRUE(recording().contains("EXIT THREAD TaskHandler()!"));
    EXPECT_TRUE(recording().contains("EXIT THREAD CheckMaintenanceThreadProc()!"));
    EXPECT_EQ(commands(0), Lines{});
}

// Nothing is pending then that no task stands behind.
TEST_F(FaultTest, ARequestWhoseThreadIsCancelledIsNone) {
    m_module.host.onMessage([](uint32_t, uint32_t, Envelope&) { ::pthread_testcancel(); });
    start();
    EXPECT_EQ(cancelledIn([](HostedModule& module) { static_cast<void>(module.request(kOffNow)); }),
              PTHREAD_CANCELED);
    EXPECT_TRUE(recording().contains(R"({"OC":527,"DA":1,)")) << recording().shown();
    EXPECT_EQ(m_module.status(), 0U);
    m_module.request(kCancel);
    expectOnce("\nEM_SHUTDOWN         : ERROR! No pending system shutdown found!");
    EXPECT_EQ(m_module.stop(), 1U);
    EXPECT_EQ(commands(0), Lines{});
}

TEST_F(FaultTest, StopOfAModuleNeverStartedLeavesTheWatcherToTheDestructor) {
    m_module.afterStart();
    ASSERT_TRUE(recording().waitFor("check maintenance thread sleeps"));
    EXPECT_EQ(m_module.stop(), 1U);
    EXPECT_FALSE(recording().contains("### Stop of module"));
    ASSERT_TRUE(recording().waitFor("check maintenance thread sleeps", 2)) << "it goes on";
    EXPECT_TRUE(m_module.destroy());
    EXPECT_TRUE(recording().contains("EXIT THREAD CheckMaintenanceThreadProc()!"));
}

#ifndef __SANITIZE_THREAD__ // which takes a refused join for one that was done
TEST_F(FaultTest, StopFromTheHandlersOwnThreadReturns) {
    m_module.host.onMessage([this](uint32_t, uint32_t item, Envelope&) {
        if (item == kDelay) {
            static_cast<void>(m_module.stop());
        }
    });
    start();
    m_module.request(kOffNow);
    ASSERT_TRUE(recording().waitFor("EXIT THREAD TaskHandler()!")) << recording().shown();
    EXPECT_TRUE(recording().contains("ERROR ! ThreadJoin failed"));
    EXPECT_EQ(commands(0), Lines{});
    EXPECT_TRUE(m_module.destroy());
}
#endif

// A destructor cannot be unwound: a cancellation that took effect in its joins would end the host.
TEST_F(FaultTest, CancelledHostThreadDeletesTheWholeModule) {
    start();
    EXPECT_EQ(cancelledIn([](HostedModule& module) { module.destroy(); }), PTHREAD_CANCELED);
    EXPECT_TRUE(recording().contains("Module destroyed successfully!")) << recording().shown();
    EXPECT_TRUE(recording().contains("EXIT THREAD TaskHandler()!"));
}

// In the sandbox of an ordinary user; as root there is nothing to see.
using Refusal = FaultTest;
TEST_F(Refusal, OfAHostThatIsNotRoot) {
    if (::getuid() == 0) {
        GTEST_SKIP() << "runs as root";
    }
    start();
    std::filesystem::current_path("/tmp");
    requestAndWait();
    expectOnce("\nCOSShutdown         : PrepareSystemShutdown(): FAILED!");
    EXPECT_EQ(commands(0), Lines{});
    EXPECT_EQ(std::filesystem::current_path(), "/tmp");
    EXPECT_EQ(m_module.status(), 3U);
}

} // namespace
} // namespace em::test

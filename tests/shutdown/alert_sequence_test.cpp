// The times of the alert sequence, passed in leaps: the delay and the limit of the gate's query.

#include "base/clock.h"
#include "contract/notifications.h"
#include "contract/operation_codes.h"
#include "contract/settings.h"
#include "rig/sandbox.h"
#include "rig/scripted_host.h"
#include "shutdown/shutdown_module.h"
#include "support/json.h"
#include "support/unit_test.h"

namespace em::test {
namespace {

int64_t secondsBetween(int64_t beginNs, int64_t endNs) {
    return (endNs - beginNs) / 1'000'000'000;
}

struct AlertSequenceTest : UnitTest {
    // The delay is what lies between the two questions around it.
    AlertSequenceTest() {
        recording().clear();
        m_host.onMessage([this](uint32_t, uint32_t item, Envelope&) {
            if (item == kForceDelay) {
                m_begin = Deadline::nowNs();
            } else if (item == kJobName) {
                m_end = Deadline::nowNs();
            }
        });
    }
    ~AlertSequenceTest() override { collectChildren(); }

    ScriptedHost m_host;
    int64_t m_begin = 0;
    int64_t m_end = 0;
};

TEST_F(AlertSequenceTest, DelayTakesItsWholeTime) {
    constexpr const char* kNoAnswer = "";
    // The answer, the reason, the delay in seconds, wake-ups without Stop, whether there is an event to wait
    // on.
    const std::tuple<const char*, std::string, std::string, int64_t, int, bool> cases[] = {
        {"no answer", kNoAnswer, "0", 60, 0, true},
        {"an answer", "7", "0", 7, 0, true},
        {"none for the power switch", "7", "1", 0, 0, true},
        {"woken without Stop", kNoAnswer, "0", 60, 3, true},
        {"no event to wait on", kNoAnswer, "0", 60, 0, false},
        {"longer than a wait can be", "4294968", "0", 4294967, 0, true},
    };
    for (const auto& [name, answer, reason, seconds, strayWakeUps, events] : cases) {
        SCOPED_TRACE(name);
        fake::reset();
        if (!events) {
            fake::failNth("pthread_cond_init", 1, ENOMEM, 0);
        }
        CShutdownExtensionModule module;
        m_host.attachTo(&module);
        m_host.answer(kDelay, answer, answer == kNoAnswer ? "" : "0");
        fake::leapTime(strayWakeUps);
        SipJson request = commandOf(R"({"OC":517,"DA":)" + reason + "}");
        module.OnTaskExecution(request, 0);
        EXPECT_EQ(secondsBetween(m_begin, m_end), seconds);
        EXPECT_NE(recording().hostCalls().back().find(R"({"OC":527,"DA":3)"), std::string::npos);
    }
}

TEST_F(AlertSequenceTest, StopEndsADelayThatHasNoEvent) {
    fake::failNth("pthread_cond_init", 1, ENOMEM, 0);
    CShutdownExtensionModule module;
    m_host.attachTo(&module);
    m_host.answer(kDelay, "1800");
    module.Start();
    SipJson request = commandOf(R"({"OC":517})");
    EXPECT_TRUE(module.HandleRequest(&request));
    ASSERT_TRUE(recording().waitFor(R"("OE":5889)"));
    const int64_t begin = Deadline::nowNs();
    EXPECT_EQ(module.Notify(SCN_SYSTEM_SHUTDOWN, 0, 0), 1U) << "nor does the host wait";
    module.Stop();
    EXPECT_LT(secondsBetween(begin, Deadline::nowNs()), 5);
    EXPECT_EQ(m_end, 0) << "the sequence went on behind the delay";
}

// Its echo is the request itself: what a host makes another one of has no command.
TEST_F(AlertSequenceTest, ARequestThatTheHostHasChangedEndsWithoutACommand) {
    CShutdownExtensionModule module;
    m_host.attachTo(&module);
    m_host.answer(kDelay, "0");
    m_host.onMessage([](uint32_t code, uint32_t, Envelope& echo) {
        if (code == opcode::CM_RequestShutdownAndOff) {
            setMember(*commandOf(echo), "OC", "999");
        }
    });
    const TraceCapture trace(3);
    SipJson request = commandOf(R"({"OC":517})");
    module.OnTaskExecution(request, 0);
    EXPECT_NE(recording().hostCalls().back().find(R"({"OC":527,"DA":3)"), std::string::npos);
    EXPECT_FALSE(trace.contains("SystemShutdown") || trace.contains("execute shutdown"));
}

std::atomic<int64_t> toolStartedNs{0};
std::atomic<int64_t> toolKilledNs{0};

// A tool that has said "E" and then hangs opens the gate to nobody.
TEST_F(AlertSequenceTest, HangingToolIsGivenUpAfterThirtySeconds) {
    m_files.writeScript("shell", "#!/bin/sh\necho Enabled\nexec sleep 1000\n");
    for (const char* code : {"289", "517"}) {
        fake::reset();
        fake::setPath(place::kShell, m_files.pathOf("shell"));
        fake::failNth("pidfd_open", 1, ENOSYS, 0); // the wait then sleeps, and sleeps can be leapt over
        CShutdownExtensionModule module;
        m_host.attachTo(&module);
        SipJson request = commandOf(R"({"DA":1,"OC":)" + std::string(code) + "}");
        fake::leapTime();
        fake::watch([](const char* call) {
            if (call == std::string_view("pidfd_open")) { // the query's first call behind its tool's start
                toolStartedNs = Deadline::nowNs();
            } else if (call == std::string_view("kill")) {
                toolKilledNs = Deadline::nowNs();
            }
        });
        if (request.GetUint("OC", 0) == 289) {
            EXPECT_TRUE(module.HandleRequest(&request));
            EXPECT_EQ(request.GetUint("DA", 9), 0U);
        } else {
            module.OnTaskExecution(request, 0);
            EXPECT_NE(recording().hostCalls().at(0).find(R"({"OC":527,"DA":5)"), std::string::npos);
        }
        EXPECT_EQ(secondsBetween(toolStartedNs, toolKilledNs), 30);
    }
}

} // namespace
} // namespace em::test

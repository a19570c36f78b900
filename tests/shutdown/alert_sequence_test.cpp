// The times of the alert sequence, passed in leaps: the delay and the limit of the gate's query.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <atomic>
#include <cerrno>
#include <optional>
#include <string_view>

#include "base/clock.h"
#include "base/system_fake.h"
#include "contract/operation_codes.h"
#include "contract/places.h"
#include "contract/settings.h"
#include "shutdown/shutdown_module.h"
#include "support/scripted_host.h"
#include "support/temporary_directory.h"

namespace em::test {
namespace {

SipJson command(uint32_t code, uint32_t data) {
    SipJson envelope;
    envelope.InitEnvelope();
    envelope.SetOpcode(code, 0, 0);
    envelope.SetUintMember("DA", data);
    return envelope;
}

int64_t secondsBetween(int64_t beginNs, int64_t endNs) {
    return (endNs - beginNs) / 1'000'000'000;
}

class AlertSequenceTest : public testing::Test {
protected:
    ~AlertSequenceTest() override {
        while (waitpid(-1, nullptr, 0) > 0) { // commands, which nobody waits for
        }
    }

    // The delay is what lies between the two questions around it.
    void attach(CShutdownExtensionModule& module, std::optional<uint32_t> delay) {
        m_host.answer([this, delay](SipJson& message, uint32_t) {
            const uint32_t item = message.GetUint("OE", 0);
            if (item == setting::kShutdownDelay.item && delay) {
                message.SetUintMember("DA", *delay);
                message.SetStatus(status::kAccepted);
            }
            if (item == setting::kForceDelay.item) {
                m_begin = Deadline::nowNs();
            } else if (item == setting::kJobName.item) {
                m_end = Deadline::nowNs();
            }
        });
        m_host.attachTo(&module);
    }

    fake::Scope m_twin;
    ScriptedHost m_host;
    int64_t m_begin = 0;
    int64_t m_end = 0;
};

TEST_F(AlertSequenceTest, DelayTakesItsWholeTime) {
    constexpr uint32_t kPowerSwitch = 1;
    const struct {
        const char* name;
        std::optional<uint32_t> answer;
        uint32_t reason;
        int64_t seconds;
        int strayWakeUps = 0;
        bool eventsFail = false;
    } cases[] = {
        {"no answer", {}, 0, 60},
        {"an answer", 7, 0, 7},
        {"none for the power switch", 7, kPowerSwitch, 0},
        {"woken without Stop", {}, 0, 60, 3},
        {"no event to wait on", {}, 0, 60, 0, true},
        {"longer than a wait can be", 4294968, 0, 4294967},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.name);
        fake::reset();
        if (each.eventsFail) {
            fake::failNth("pthread_cond_init", 1, ENOMEM, 0);
        }
        CShutdownExtensionModule module;
        attach(module, each.answer);
        fake::leapTime(each.strayWakeUps);
        SipJson request = command(opcode::CM_RequestShutdownAndOff, each.reason);
        module.OnTaskExecution(request, 0);
        EXPECT_EQ(secondsBetween(m_begin, m_end), each.seconds);
        EXPECT_NE(m_host.messages().back().find(R"({"OC":527,"DA":3)"), std::string::npos);
    }
}

TEST_F(AlertSequenceTest, StopEndsADelayThatHasNoEvent) {
    fake::failNth("pthread_cond_init", 1, ENOMEM, 0);
    CShutdownExtensionModule module;
    attach(module, 1800);
    module.Start();
    SipJson request = command(opcode::CM_RequestShutdownAndOff, 0);
    EXPECT_TRUE(module.HandleRequest(&request));
    ASSERT_TRUE(m_host.waitForMessage("\"OE\":5889"));
    const int64_t begin = Deadline::nowNs();
    module.Stop();
    EXPECT_LT(secondsBetween(begin, Deadline::nowNs()), 5);
    EXPECT_EQ(m_end, 0) << "the sequence went on behind the delay";
}

std::atomic<int64_t> toolStartedNs{0};
std::atomic<int64_t> toolKilledNs{0};

// A tool that has said "E" and then hangs does not open the gate, to nobody who asks.
TEST_F(AlertSequenceTest, HangingToolIsGivenUpAfterThirtySeconds) {
    const TemporaryDirectory files;
    files.write("shell", "#!/bin/sh\necho Enabled\nexec sleep 1000\n");
    ASSERT_EQ(chmod(files.pathOf("shell").c_str(), 0700), 0);
    for (const uint32_t code : {opcode::CM_GetMaintenanceMode, opcode::CM_RequestShutdownAndOff}) {
        fake::reset();
        fake::setPath(place::kShell, files.pathOf("shell"));
        fake::failNth("pidfd_open", 1, ENOSYS, 0); // the wait then sleeps, and sleeps can be leapt over
        CShutdownExtensionModule module;
        m_host.attachTo(&module);
        SipJson request = command(code, 1);
        fake::leapTime();
        fake::watch([](const char* call) {
            if (call == std::string_view("pidfd_open")) { // the query's first call behind its tool's start
                toolStartedNs = Deadline::nowNs();
            } else if (call == std::string_view("kill")) {
                toolKilledNs = Deadline::nowNs();
            }
        });
        if (code == opcode::CM_GetMaintenanceMode) {
            EXPECT_TRUE(module.HandleRequest(&request));
            EXPECT_EQ(request.GetUint("DA", 9), 0U);
        } else {
            module.OnTaskExecution(request, 0);
            EXPECT_NE(m_host.messages().at(0).find(R"({"OC":527,"DA":5)"), std::string::npos) << "refused";
        }
        EXPECT_EQ(secondsBetween(toolStartedNs, toolKilledNs), 30);
    }
}

} // namespace
} // namespace em::test

// The scheduled power-off beside shutdowns that were asked for otherwise.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "host/sandbox/command_record.h"
#include "module/loaded_module.h"
#include "rig/recording.h"

namespace em::test {
namespace {

// A request is cancelled, and the power-off time comes when it has told the host that status.
void meetCancelledRequest(HostedModule& module, const std::string& requestsStatus) {
    module.host.answer(kDelay, "0");
    module.host.onMessage([&module, requestsStatus](uint32_t code, uint32_t item, Envelope&) {
        if (code == kSettings && item == kPowerOffTime) {
            EXPECT_TRUE(recording().waitFor(R"({"OC":527,"DA":)" + requestsStatus));
            module.host.answerPowerOffNow();
        } else if (code == kSettings && item == kDelay && requestsStatus == "4") {
            EXPECT_TRUE(recording().waitFor("Task at level 0 raised", 2))
                << "the schedule comes in the delay";
        }
    });
    static_cast<void>(module.request(R"({"OC":517,"DA":0})"));
    static_cast<void>(module.request(R"({"OC":521})"));
    ASSERT_TRUE(module.start());
}

// Once a cancelled request left its flag behind, and every later scheduled power-off ended as cancelled.
TEST(Schedule, IsNotCancelledByACancelOfAnEarlierRequest) {
    const volad_dev::CommandRecorder commands;
    HostedModule module(5);
    meetCancelledRequest(module, "5");
    EXPECT_TRUE(commands.waitForRecord(std::chrono::seconds(10)).has_value()) << recording().shown();
    EXPECT_TRUE(recording().waitFor(R"({"OC":527,"DA":3,)"));
}

TEST(Schedule, SharesTheCancelOfARequestThatIsStillPending) {
    const volad_dev::CommandRecorder commands;
    HostedModule module(5);
    meetCancelledRequest(module, "4");
    EXPECT_TRUE(recording().waitFor("System shutdown was cancelled by ORBA call!", 2)) << recording().shown();
    EXPECT_TRUE(recording().waitFor(R"(0 {"SIP":{"V":1,"CMD":[{"OC":521,)", 4)) << recording().shown();
    EXPECT_EQ(commands.read().size(), 0U);
}

} // namespace
} // namespace em::test

// The scheduled power-off beside shutdowns that were asked for otherwise.
#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <string>

#include "host/sandbox/command_record.h"
#include "module/loaded_module.h"
#include "module/recording.h"

namespace module_test {
namespace {

// As the schedule's answer: the power-off time is now.
void answerNow(ScriptedHost& host) {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    host.answer(kPowerOffTime, std::to_string(local.tm_hour * 60 + local.tm_min));
}

// A request is cancelled, and the power-off time comes when it has told the host that status.
void meetCancelledRequest(HostedModule& module, const std::string& requestsStatus) {
    module.host.answer(kDelay, "0");
    module.host.onMessage([&module, requestsStatus](uint32_t code, Envelope& envelope) {
        const uint32_t item = numberOf(commandOf(envelope), "OE", 0);
        if (code == kSettings && item == kPowerOffTime) {
            EXPECT_TRUE(recording().waitFor(R"({"OC":527,"DA":)" + requestsStatus));
            answerNow(module.host);
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
} // namespace module_test

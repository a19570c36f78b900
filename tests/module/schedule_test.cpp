// The scheduled power-off beside shutdowns that were asked for otherwise.
#include <gtest/gtest.h>

#include <chrono>
#include <ctime>
#include <string>

#include "host/command_record.h"
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

// Once a cancelled request left its flag behind, and every later scheduled power-off ended as cancelled.
TEST(Schedule, IsNotCancelledByACancelOfAnEarlierRequest) {
    const volad_dev::CommandRecorder commands;
    HostedModule module(5);
    module.host.answer(kDelay, "0");
    module.host.onMessage([&module](uint32_t, Envelope& envelope) {
        if (numberOf(commandOf(envelope), "OE", 0) == kPowerOffTime) {
            EXPECT_TRUE(recording().waitFor(R"({"OC":527,"DA":5,)")) << "the request has come to its end";
            answerNow(module.host);
        }
    });
    static_cast<void>(module.request(R"({"OC":517,"DA":0})"));
    static_cast<void>(module.request(R"({"OC":521})"));
    ASSERT_TRUE(module.start());
    EXPECT_TRUE(commands.waitForRecord(std::chrono::seconds(10)).has_value()) << recording().shown();
    EXPECT_TRUE(recording().waitFor(R"({"OC":527,"DA":3,)"));
}

} // namespace
} // namespace module_test

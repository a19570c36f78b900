// The maintenance mode watcher against a tool whose answer changes, hangs or is missing.
#include <gtest/gtest.h>

#include <chrono>
#include <string>

#include "module/loaded_module.h"
#include "rig/files.h"
#include "rig/recording.h"
#include "rig/sandbox.h"

namespace em::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kChange = R"(5000 {"SIP":{"V":1,"CMD":[{"OC":513,"CA":7}]}})";
constexpr const char* kSleeps = "check maintenance thread sleeps 1 seconds for next action";

TEST(Watcher, ReportsEachChangeOnceAndTheModeThatItFindsAsOne) {
    HostedModule module(5);
    ASSERT_TRUE(module.start());
    module.afterStart();
    size_t reports = 0;
    for (const char* answer : {"Enabled", "Disabled", "Enabled"}) {
        setMaintenance(answer);
        ASSERT_TRUE(recording().waitFor(kChange, ++reports)) << answer;
    }
    ASSERT_TRUE(recording().waitFor(kSleeps, recording().count(kSleeps) + 2));
    EXPECT_EQ(recording().count(kChange), reports) << "none while the mode stays the same";
    EXPECT_EQ(module.stop(), 1U);
    EXPECT_EQ(recording().count("\nEM_SHUTDOWN         : START THREAD CheckMaintenanceThreadProc()"), 1U);
    EXPECT_EQ(recording().count("\nEM_SHUTDOWN         : EXIT THREAD CheckMaintenanceThreadProc()!"), 1U);
}

TEST(Watcher, StopDoesNotWaitForAHangingTool) {
    writeFile(volad_dev::layout::kMaintenanceScript, "#!/bin/sh\nexec sleep 1000\n");
    HostedModule module(5);
    ASSERT_TRUE(module.start());
    module.afterStart();
    ASSERT_TRUE(recording().waitFor("getMaintenanceMode()"));
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(module.stop(), 1U);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 5s);
    EXPECT_EQ(recording().count(kChange), 0U);
    EXPECT_EQ(recording().count("EXIT THREAD CheckMaintenanceThreadProc()!"), 1U);
}

} // namespace
} // namespace em::test

// The module's own threads: the watcher against a maintenance tool that hangs, and a trace level that changes
// under them.
#include "module/module_test.h"

namespace em::test {
namespace {

constexpr const char* kMaintenanceChange = R"(5000 {"SIP":{"V":1,"CMD":[{"OC":513,"CA":7}]}})";
constexpr const char* kTraceDirectory = "/opt/Orlendix/vital/etc/velcor/TellmarkSuite/TraceConfig";

TEST(Watcher, StopDoesNotWaitForAHangingTool) {
    writeFile(volad_dev::layout::kMaintenanceScript, "#!/bin/sh\nexec sleep 1000\n");
    HostedModule module(5);
    ASSERT_TRUE(module.start());
    module.afterStart();
    ASSERT_TRUE(recording().waitFor("getMaintenanceMode()"));
    const auto begin = Clock::now();
    EXPECT_EQ(module.stop(), 1U);
    EXPECT_LT(Clock::now() - begin, 5s);
    EXPECT_EQ(recording().count(kMaintenanceChange), 0U);
    EXPECT_EQ(recording().count("\nEM_SHUTDOWN         : START THREAD CheckMaintenanceThreadProc()"), 1U);
    EXPECT_EQ(recording().count("\nEM_SHUTDOWN         : EXIT THREAD CheckMaintenanceThreadProc()!"), 1U);
}

TEST(Watcher, SaysWhatItFindsAndThatItSleeps) {
    HostedModule module(5);
    ASSERT_TRUE(module.start());
    module.afterStart();
    ASSERT_TRUE(recording().waitFor("\nEM_SHUTDOWN         : check maintenance thread woke up!"));
    EXPECT_EQ(recording().count("\n\nEM_SHUTDOWN         : start check maintenance mode thread..."), 1U);
    EXPECT_EQ(recording().count("\nEM_SHUTDOWN         : change in maintenance mode"), 1U);
    EXPECT_EQ(recording().count(kMaintenanceChange), 1U);
}

// The modification time is that many seconds after the epoch.
void writeTraceFile(const std::string& name, const std::string& content, time_t modified) {
    const std::string path = kTraceDirectory + ("/" + name);
    writeFile(path, content + "\n[endoffile]");
    setModificationTime(path, modified);
}

TEST(TraceConfiguration, IsReadAtLoadAndFollowedWhileRunning) {
    recording().clear();
    std::filesystem::create_directories(kTraceDirectory);
    writeTraceFile("global_trace.ini", "[GlobalDebugSettings]\nDynamicUpdate=1", 1000);
    writeTraceFile("shutdown.ini", "[EM_SHUTDOWN]\nFileDebugLevel=0x1", 1000);
    HostedModule module(LoadedModule::kLevelFromFiles);
    ASSERT_TRUE(module.start());
    EXPECT_TRUE(recording().contains("### Starting module EM_SHUTDOWN ###"));
    EXPECT_FALSE(recording().contains("creating event"));
    writeTraceFile("shutdown.ini", "[EM_SHUTDOWN]\nFileDebugLevel=5", 1001);
    module.afterStart(); // the watcher asks once a second
    EXPECT_TRUE(recording().waitFor("waiting 1000ms on event"));
    std::filesystem::remove_all(kTraceDirectory);
}

} // namespace
} // namespace em::test

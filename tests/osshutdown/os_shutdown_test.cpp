#include "osshutdown/os_shutdown.h"

#include "base/system.h"
#include "rig/sandbox.h"
#include "support/unit_test.h"

namespace em {
namespace {

namespace fs = std::filesystem;
using Commands = std::vector<std::string>;

// Signals 1, 2, 14 and 15.
constexpr const char* kEndingBlocked = "0000000000006003";

struct OsShutdownTest : testing::Test {
    OsShutdownTest() { fs::current_path("/tmp"); }
    ~OsShutdownTest() override { test::collectChildren(); }

    fake::Scope m_fake;
    test::CommandLog m_commands;
};

// The trace throws at the hard-shutdown thread's announcement, which makes it run the forced command, too.
TEST_F(OsShutdownTest, EachKindHasItsCommands) {
    const std::tuple<uint32_t, const char*, std::string> rows[] = {
        {2, "reboot", "/sbin/reboot"},     {4, "shutdown", "/sbin/halt"},
        {8, "poweroff", "/sbin/poweroff"}, {0, "poweroff", "/sbin/poweroff"},
        {7, "poweroff", "/sbin/poweroff"}, {10, "poweroff", "/sbin/poweroff"}};
    fake::setPath(place::kShell, "/bin/bash"); // which hands its signal mask on
    for (const auto& [kind, word, command] : rows) {
        test::TraceCapture capture(1);
        capture.throwOn("going to sleep for");
        EXPECT_TRUE(COSShutdown().SystemShutdown(kind, 1, "unused"));
        EXPECT_TRUE(capture.contains("COSShutdown         : SystemShutdown " + std::string(word) + " (" +
                                     command + ")\n"));
        EXPECT_TRUE(capture.contains("FATAL ERROR! Exception during HardShutdown()\n"));
        EXPECT_EQ(m_commands.take(), (Commands{command, command + " -f"}));
    }
    for (const volad_dev::CommandRecord& record : m_commands.recorder.read()) {
        EXPECT_EQ(record.blocked, kEndingBlocked);
    }
}

TEST_F(OsShutdownTest, CommandOrThreadThatCannotBeStartedStillCountsAsStarted) {
    COSShutdown executor;
    const test::TraceCapture capture(5);
    fake::failNth("clone", 1, EAGAIN, 0);
    fake::failNth("fork", 1, EAGAIN, 0);
    fake::failNth("chdir", 1, EACCES);
    fake::failNth("pthread_create", 1, EAGAIN, 0);
    EXPECT_TRUE(executor.SystemShutdown(8, 60, ""));
    EXPECT_TRUE(capture.contains("COSShutdown         : ExecuteCmd failed: /sbin/poweroff\n"));
    EXPECT_TRUE(capture.contains("\npthread_create failed: 11"));
    EXPECT_TRUE(capture.text().ends_with("\nCOSShutdown         : <- SystemShutdown"));
}

TEST_F(OsShutdownTest, WhatThrowsEndsInItsLineAndRunsNothing) {
    COSShutdown executor;
    test::TraceCapture capture(5);
    fake::watch([](const char* call) {
        if (std::string_view(call) == "chdir") {
            throw std::bad_alloc();
        }
    });
    EXPECT_FALSE(executor.SystemShutdown(8, 60, ""));
    EXPECT_TRUE(
        capture.text().ends_with("\n\nCOSShutdown         : EXCEPTION during execution of SystemShutdown()!\n"
                                 "\nCOSShutdown         : <- SystemShutdown"));
    capture.clear();
    EXPECT_FALSE(executor.RunShutdownJob("job", "/tmp", 1));
    EXPECT_TRUE(capture.text().ends_with("\nCOSShutdown         : EXCEPTION executing shutdown job!"
                                         "\nCOSShutdown         : <- RunShutdownJob"))
        << capture.text();
    EXPECT_EQ(m_commands.take(), Commands{});
}

TEST_F(OsShutdownTest, SecondShutdownWaitsForTheFirstThread) {
    const test::TraceCapture capture(3);
    {
        COSShutdown executor;
        executor.SystemShutdown(2, 1, "");
        executor.SystemShutdown(8, 4294967295, ""); // beyond what the lines can show
    }
    const std::string text = capture.text();
    const size_t first = text.find("sleep for 181000 msec");
    const size_t second = text.find("going to sleep for 179000 msec.\n");
    ASSERT_NE(second, std::string::npos) << text;
    EXPECT_LT(text.find("THREAD_RETURN", first), second) << text;
    EXPECT_TRUE(capture.contains("force delay available (-1 secs.)"));
    EXPECT_FALSE(capture.contains("WaitForTermination"));
}

} // namespace
} // namespace em

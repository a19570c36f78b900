#include "osshutdown/os_shutdown.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "base/system.h"
#include "contract/places.h"
#include "host/sandbox/command_record.h"
#include "support/trace_capture.h"

namespace em {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;
using volad_dev::CommandRecord;

// Signals 1, 2, 14 and 15.
constexpr const char* kEndingBlocked = "0000000000006003";

class OsShutdownTest : public testing::Test {
protected:
    OsShutdownTest() { fs::current_path("/tmp"); }
    ~OsShutdownTest() override { collectAll(); }

    static void collectAll() {
        while (waitpid(-1, nullptr, 0) > 0) {
        }
    }
    // Once every child has ended, what ran is on record.
    std::vector<std::string> commandsRun() {
        collectAll();
        std::vector<std::string> commands;
        for (const CommandRecord& record : m_recorder.read()) {
            commands.push_back(record.commandLine());
        }
        return {commands.begin() + m_before, commands.end()};
    }

    fake::Scope m_twin;
    volad_dev::CommandRecorder m_recorder;
    std::ptrdiff_t m_before = std::ssize(m_recorder.read());
};

using Commands = std::vector<std::string>;

struct KindRow {
    uint32_t kind;
    const char* word;
    const char* command;
};
constexpr KindRow kKinds[] = {
    {2, "reboot", "/sbin/reboot"},     {4, "shutdown", "/sbin/halt"},     {8, "poweroff", "/sbin/poweroff"},
    {0, "poweroff", "/sbin/poweroff"}, {7, "poweroff", "/sbin/poweroff"}, {10, "poweroff", "/sbin/poweroff"},
};

TEST_F(OsShutdownTest, EachKindRunsItsCommandAndSaysSo) {
    fake::setPath(place::kShell, "/bin/bash"); // which hands its signal mask on
    for (const auto& [kind, word, command] : kKinds) {
        const auto index = m_recorder.read().size();
        COSShutdown executor;
        const test::TraceCapture capture(1);
        EXPECT_TRUE(executor.SystemShutdown(kind, 0, "unused"));
        EXPECT_TRUE(capture.contains("COSShutdown         : SystemShutdown " + std::string(word) + " (" +
                                     command + ")\n"))
            << capture.text();
        const auto record = m_recorder.waitForRecord(20s, index);
        ASSERT_TRUE(record.has_value()) << command;
        EXPECT_EQ(record->commandLine(), command);
        EXPECT_EQ(record->blocked, kEndingBlocked);
    }
}

TEST_F(OsShutdownTest, WithoutRootNothingHappens) {
    fake::setUserId(1000);
    COSShutdown executor;
    const test::TraceCapture capture(5);
    EXPECT_FALSE(executor.SystemShutdown(8, 60, ""));
    EXPECT_EQ(capture.text(), "\nCOSShutdown         : -> SystemShutdown"
                              "\nCOSShutdown         : -> PrepareSystemShutdown"
                              "\nCOSShutdown         : PrepareSystemShutdown(): FAILED!"
                              "\nCOSShutdown         : <- PrepareSystemShutdown"
                              "\nCOSShutdown         : <- SystemShutdown");
    EXPECT_EQ(fs::current_path(), "/tmp");
    EXPECT_EQ(commandsRun(), Commands{});
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

TEST_F(OsShutdownTest, ForceDelayBeyondTheFormatsRange) {
    const test::TraceCapture capture(3);
    {
        COSShutdown executor;
        EXPECT_TRUE(executor.SystemShutdown(2, 4294967295, ""));
    }
    EXPECT_TRUE(capture.contains("force delay available (-1 secs.)"));
    EXPECT_TRUE(capture.contains("going to sleep for 179000 msec.\n"));
    EXPECT_EQ(commandsRun(), Commands{"/sbin/reboot"});
}

TEST_F(OsShutdownTest, NoThreadWithoutForceDelayAndNoLineWithoutTracing) {
    {
        const test::TraceCapture capture(5);
        EXPECT_EQ(COSShutdown::HardShutdown(nullptr), nullptr);
        EXPECT_EQ(capture.lines().size(), 1U);
        EXPECT_TRUE(capture.contains("THREAD_RETURN: ## INFO: Thread = 0x"));
    }
    const test::TraceCapture capture(0);
    {
        COSShutdown executor;
        executor.SystemShutdown(8, 0, "");
        EXPECT_EQ(fake::calls("pthread_create"), 0);
        executor.SystemShutdown(8, 60, "");
        EXPECT_EQ(fake::calls("pthread_create"), 1);
    }
    EXPECT_EQ(COSShutdown::HardShutdown(nullptr), nullptr);
    EXPECT_EQ(capture.lines().size(), 6U) << "the three lines of each command";
}

TEST_F(OsShutdownTest, TraceThatThrowsAtTheHardShutdownForcesTheCommand) {
    const struct {
        const char* throwing;
        uint32_t kind;
        Commands commands; // sorted: both may run at the same time
    } cases[] = {
        {"START THREAD", 8, {"/sbin/poweroff"}},
        {"going to sleep for", 2, {"/sbin/reboot", "/sbin/reboot -f"}},
        {"going to sleep for", 4, {"/sbin/halt", "/sbin/halt -f"}},
        {"going to sleep for", 7, {"/sbin/poweroff", "/sbin/poweroff -f"}},
        {"not going to sleep", 8, {"/sbin/poweroff", "/sbin/poweroff -f"}},
    };
    for (const auto& [throwing, kind, expected] : cases) {
        m_before = std::ssize(m_recorder.read());
        test::TraceCapture capture(5);
        capture.throwOn(throwing);
        {
            COSShutdown executor;
            EXPECT_TRUE(executor.SystemShutdown(kind, 1, "")) << throwing;
        }
        Commands commands = commandsRun();
        std::sort(commands.begin(), commands.end());
        EXPECT_EQ(commands, expected) << throwing;
        EXPECT_EQ(capture.contains("FATAL ERROR! Exception during HardShutdown()\n"), expected.size() == 2);
    }
}

TEST_F(OsShutdownTest, SecondShutdownWaitsForTheFirstThread) {
    test::TraceCapture capture(2);
    {
        COSShutdown executor;
        executor.SystemShutdown(2, 1, "");
        executor.SystemShutdown(8, 2, "");
    }
    const std::string text = capture.text();
    const size_t first = text.find("sleep for 181000 msec");
    const size_t second = text.find("sleep for 182000 msec");
    ASSERT_NE(first, std::string::npos) << text;
    ASSERT_NE(second, std::string::npos) << text;
    EXPECT_LT(text.find("THREAD_RETURN", first), second);
    EXPECT_FALSE(capture.contains("WaitForTermination"));
}

} // namespace
} // namespace em

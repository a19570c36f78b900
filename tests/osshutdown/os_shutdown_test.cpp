#include "osshutdown/os_shutdown.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>

#include "host/command_record.h"
#include "platform/base/system.h"
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
        for (const CommandRecord& record : m_Recorder.read()) {
            commands.push_back(record.commandLine());
        }
        return {commands.begin() + m_nBefore, commands.end()};
    }

    twin::Scope m_Twin;
    volad_dev::CommandRecorder m_Recorder;
    std::ptrdiff_t m_nBefore = std::ssize(m_Recorder.read());
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
    twin::setPath("shell", "/bin/bash"); // dash clears the mask that this looks at
    for (const auto& [kind, word, command] : kKinds) {
        const auto index = m_Recorder.read().size();
        fs::current_path("/tmp");
        COSShutdown executor;
        const test::TraceCapture capture(5);
        EXPECT_TRUE(executor.SystemShutdown(kind, 0, "unused"));
        EXPECT_EQ(capture.text(), "\nCOSShutdown         : -> SystemShutdown"
                                  "\nCOSShutdown         : -> PrepareSystemShutdown"
                                  "\nCOSShutdown         : PrepareSystemShutdown(): OK!"
                                  "\nCOSShutdown         : <- PrepareSystemShutdown"
                                  "COSShutdown         : SystemShutdown " +
                                      std::string(word) + " (" + command +
                                      ")\n"
                                      "COSShutdown         : ExecuteCmd initiated " +
                                      command +
                                      "\n"
                                      "COSShutdown         : ExecuteCmd forked: " +
                                      command +
                                      "\n"
                                      "COSShutdown         : ExecuteCmd finished: " +
                                      command +
                                      "\n"
                                      "\nCOSShutdown         : <- SystemShutdown");
        EXPECT_EQ(fs::current_path(), "/");
        const auto record = m_Recorder.waitForRecord(20s, index);
        ASSERT_TRUE(record.has_value()) << command;
        EXPECT_EQ(record->commandLine(), command);
        EXPECT_EQ(record->directory, "/");
        EXPECT_EQ(record->blocked, kEndingBlocked);
        for (const auto& [descriptor, target] : record->descriptors) {
            EXPECT_LE(descriptor, 2) << target;
        }
    }
}

TEST_F(OsShutdownTest, WithoutRootNothingHappens) {
    twin::setUserId(1000);
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
    twin::failNth("clone", 1, EAGAIN, 0);
    twin::failNth("fork", 1, EAGAIN, 0);
    twin::failNth("chdir", 1, EACCES);
    twin::failNth("pthread_create", 1, EAGAIN, 0);
    EXPECT_TRUE(executor.SystemShutdown(8, 60, ""));
    EXPECT_TRUE(capture.contains("COSShutdown         : ExecuteCmd failed: /sbin/poweroff\n"));
    EXPECT_TRUE(capture.contains("\npthread_create failed: 11"));
    EXPECT_TRUE(capture.text().ends_with("\nCOSShutdown         : <- SystemShutdown"));
}

TEST_F(OsShutdownTest, ForceDelayOnlyAnnounces) {
    const struct {
        uint32_t delay;
        const char* shown;
        const char* slept;
    } cases[] = {{60, "60", "240000"}, {4294967295, "-1", "179000"}};
    for (const auto& [delay, shown, slept] : cases) {
        test::TraceCapture capture(3);
        {
            COSShutdown executor;
            EXPECT_TRUE(executor.SystemShutdown(2, delay, ""));
        }
        EXPECT_TRUE(capture.contains("\nCOSShutdown         : shutdown force delay available (" +
                                     std::string(shown) + " secs.), start HardShutdown thread"));
        std::vector<std::string> threads;
        for (const test::TraceLine& line : capture.lines()) {
            if (line.text.find("HardShutdown") != std::string::npos ||
                line.text.find("THREAD_RETURN") != std::string::npos) {
                threads.push_back(line.text);
            }
        }
        ASSERT_EQ(threads.size(), 6U) << capture.text(); // the first is the one that is looked for above
        EXPECT_TRUE(threads[1].starts_with("\nCOSShutdown         : START THREAD ("));
        EXPECT_EQ(threads[2], "COSShutdown         : HardShutdown: Thread is going to sleep for " +
                                  std::string(slept) + " msec.\n");
        EXPECT_EQ(threads[3],
                  "COSShutdown         : HardShutdown: Thread is not going to sleep really !!!\n");
        EXPECT_TRUE(threads[4].starts_with("COSShutdown         : EXIT THREAD ("));
        EXPECT_TRUE(threads[5].starts_with("THREAD_RETURN: ## INFO: Thread = 0x"));
        EXPECT_TRUE(threads[5].ends_with(" exited, Return = 0x00000000##\n"));
    }
    EXPECT_EQ(commandsRun(), (Commands{"/sbin/reboot", "/sbin/reboot"}));
}

TEST_F(OsShutdownTest, NoThreadWithoutForceDelayAndNoLineWithoutTracing) {
    {
        const test::TraceCapture capture(5);
        COSShutdown executor;
        executor.SystemShutdown(8, 0, "");
        EXPECT_FALSE(capture.contains("CThread"));
    }
    const test::TraceCapture capture(0);
    {
        COSShutdown executor;
        executor.SystemShutdown(8, 60, "");
        EXPECT_EQ(twin::calls("pthread_create"), 1);
    }
    EXPECT_EQ(capture.lines().size(), 3U) << "the three lines of the command";
    EXPECT_EQ(COSShutdown::HardShutdown(nullptr), nullptr);
    EXPECT_EQ(capture.lines().size(), 3U);
}

TEST_F(OsShutdownTest, HardShutdownOfNobodyOnlyReturns) {
    const test::TraceCapture capture(5);
    EXPECT_EQ(COSShutdown::HardShutdown(nullptr), nullptr);
    ASSERT_EQ(capture.lines().size(), 1U);
    EXPECT_TRUE(capture.contains("THREAD_RETURN: ## INFO: Thread = 0x"));
}

// The only way to a forced command.
TEST_F(OsShutdownTest, ThrowingAnnouncementForcesTheCommand) {
    for (const char* throwing : {"going to sleep for", "not going to sleep"}) {
        for (const auto& [kind, word, command] : kKinds) {
            m_nBefore = std::ssize(m_Recorder.read());
            test::TraceCapture capture(5);
            capture.throwOn(throwing);
            {
                COSShutdown executor;
                EXPECT_TRUE(executor.SystemShutdown(kind, 1, ""));
            }
            EXPECT_TRUE(
                capture.contains("\nCOSShutdown         : FATAL ERROR! Exception during HardShutdown()\n"));
            EXPECT_TRUE(capture.contains("COSShutdown         : EXIT THREAD ("));
            Commands commands = commandsRun();
            std::sort(commands.begin(), commands.end()); // both run at the same time
            EXPECT_EQ(commands, (Commands{command, std::string(command) + " -f"})) << throwing;
        }
    }
}

TEST_F(OsShutdownTest, OtherThrowingLinesOfTheThreadForceNothing) {
    for (const char* throwing : {"START THREAD", "EXIT THREAD", "THREAD_RETURN"}) {
        m_nBefore = std::ssize(m_Recorder.read());
        test::TraceCapture capture(5);
        capture.throwOn(throwing);
        {
            COSShutdown executor;
            EXPECT_TRUE(executor.SystemShutdown(4, 1, ""));
        }
        EXPECT_EQ(commandsRun(), Commands{"/sbin/halt"}) << throwing;
    }
}

TEST_F(OsShutdownTest, ThrowingTraceIsAFailureOfTheShutdown) {
    const struct {
        const char* throwing;
        Commands commands;
    } cases[] = {
        {"-> SystemShutdown", {}},
        {"SystemShutdown poweroff", {}},
        {"ExecuteCmd initiated", {}},
        {"ExecuteCmd forked", {"/sbin/poweroff"}},
        {"shutdown force delay", {"/sbin/poweroff"}},
        {"<- SystemShutdown", {"/sbin/poweroff"}},
    };
    for (const auto& [throwing, commands] : cases) {
        m_nBefore = std::ssize(m_Recorder.read());
        test::TraceCapture capture(3 + 2);
        capture.throwOn(throwing);
        COSShutdown executor;
        EXPECT_FALSE(executor.SystemShutdown(8, 60, "")) << throwing;
        EXPECT_TRUE(
            capture.contains("\n\nCOSShutdown         : EXCEPTION during execution of SystemShutdown()!\n"));
        EXPECT_TRUE(capture.contains("\nCOSShutdown         : <- SystemShutdown"));
        EXPECT_EQ(commandsRun(), commands) << throwing;
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

TEST_F(OsShutdownTest, LivesAndDiesInLines) {
    test::TraceCapture capture(5);
    {
        COSShutdown executor;
        EXPECT_TRUE(capture.contains("creating event "));
        EXPECT_TRUE(capture.contains("(IsSignaled=0,IsManual=1) --> (IsSignaled=0,IsManual=0)\n"));
        capture.clear();
        executor.DisplayShutdownAction("title", "text");
        executor.AbortShutdownAction("title", "text");
        EXPECT_EQ(capture.text(), "\nCOSShutdown         : -> DisplayShutdownAction"
                                  "\nCOSShutdown         : <- DisplayShutdownAction"
                                  "\nCOSShutdown         : -> AbortShutdownAction"
                                  "\nCOSShutdown         : <- AbortShutdownAction");
        capture.clear();
        capture.throwOn("~COSShutdown");
    }
    const auto lines = capture.lines();
    ASSERT_EQ(lines.size(), 5U) << capture.text();
    const char* const starts[] = {"\nCOSShutdown         : -> ~COSShutdown", "Set event ", "Close event ",
                                  "\nCOSShutdown         : <- ~COSShutdown", "deleting event "};
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_TRUE(lines[i].text.starts_with(starts[i])) << lines[i].text;
    }
}

} // namespace
} // namespace em

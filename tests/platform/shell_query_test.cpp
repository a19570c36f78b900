#include "platform/shell_query.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <string>
#include <thread>

#include "platform/base/system.h"
#include "support/temporary_directory.h"

namespace em {
namespace {

using End = ShellAnswer::End;

constexpr uint32_t kAmple = 20'000;

ShellAnswer ask(const char* command, uint32_t limitMs = kAmple) {
    return QueryShell(command, limitMs, nullptr, nullptr);
}

bool isThere(void* path) {
    return std::filesystem::exists(*static_cast<const std::string*>(path));
}

bool thirdTime(void* count) {
    return ++*static_cast<int*>(count) >= 3;
}

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

class ShellQueryTest : public testing::Test {
protected:
    ~ShellQueryTest() override {
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was not collected";
        EXPECT_EQ(openDescriptors(), m_nDescriptors);
    }

    // Waits until that process of a former query is gone; an orphan is collected by another process.
    static bool disappears(pid_t pid) {
        for (int i = 0; i < 2000 && kill(pid, 0) == 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return kill(pid, 0) != 0 && errno == ESRCH;
    }

    twin::Scope m_Twin;
    test::TemporaryDirectory m_Files;
    std::ptrdiff_t m_nDescriptors = openDescriptors();
};

TEST_F(ShellQueryTest, AnswersWithTheFirstCharacter) {
    const struct {
        const char* command;
        int character;
    } cases[] = {
        {"echo Enabled", 'E'},
        {"echo enabled", 'e'},
        {"printf '\\nEnabled'", '\n'},
        {"printf '\\377'", 0xFF},
        {"true", -1},
        {"no-such-tool get 2> /dev/null", -1},
        {"echo E; exit 3", 'E'},
        {"echo E; kill -9 $$", 'E'},
        {"exec yes 2> /dev/null", 'y'}, // ends when nobody reads any more
        // In a process group of its own.
        {"read -r pid name state parent group rest < /proc/self/stat; test $pid = $group && echo G", 'G'},
    };
    for (const auto& [command, character] : cases) {
        const ShellAnswer answer = ask(command);
        EXPECT_EQ(answer.end, End::Answered) << command;
        EXPECT_EQ(answer.firstCharacter, character) << command;
    }
}

TEST_F(ShellQueryTest, InterruptedCallsAreMadeAgain) {
    for (const char* call : {"poll", "read", "waitpid"}) {
        twin::reset();
        twin::failNth(call, 1, EINTR, 2);
        EXPECT_EQ(ask("sleep 0.01; echo E").firstCharacter, 'E') << call;
    }
}

TEST_F(ShellQueryTest, TellsWhatCouldNotBeStarted) {
    for (const char* call : {"pipe2", "posix_spawn"}) {
        twin::reset();
        twin::failNth(call, 1, EMFILE);
        EXPECT_EQ(ask("echo E").end, End::NotStarted) << call;
    }
}

TEST_F(ShellQueryTest, WorksWithoutProcessDescriptors) {
    twin::failNth("pidfd_open", 1, ENOSYS, 0);
    EXPECT_EQ(ask("echo E").firstCharacter, 'E');
    EXPECT_EQ(ask("exec sleep 60", 20).end, End::CutShort);
}

TEST_F(ShellQueryTest, ChildrenThatTheKernelCollectsAreNoError) {
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    EXPECT_EQ(ask("echo E").firstCharacter, 'E');
    std::signal(SIGCHLD, before);
}

TEST_F(ShellQueryTest, HangingToolsDieWithTheirGroup) {
    std::string ready = m_Files.pathOf("ready");
    for (const char* before : {"", "echo E; exec > /dev/null; "}) {
        const std::string command = std::string(before) + "trap '' TERM; sleep 60 & echo $$ $! > " +
                                    m_Files.pathOf("pids") + "; : > " + ready + "; wait";
        const ShellAnswer answer = QueryShell(command.c_str(), kAmple, isThere, &ready);
        EXPECT_EQ(answer.end, End::CutShort);
        EXPECT_EQ(answer.firstCharacter, -1);
        pid_t shell = 0;
        pid_t sleeper = 0;
        ASSERT_EQ(std::sscanf(m_Files.read("pids").c_str(), "%d %d", &shell, &sleeper), 2);
        EXPECT_TRUE(disappears(shell));
        EXPECT_TRUE(disappears(sleeper));
        std::filesystem::remove(ready);
    }
}

TEST_F(ShellQueryTest, EndsAtItsLimitAndAtTheCallersStop) {
    EXPECT_EQ(ask("exec sleep 60", 30).end, End::CutShort);
    EXPECT_EQ(ask("echo E; exec sleep 60", 30).end, End::CutShort);
    int count = 0;
    EXPECT_EQ(QueryShell("exec sleep 60", kAmple, thirdTime, &count).end, End::CutShort);
    EXPECT_EQ(count, 3) << "looked at in slices of the wait";
}

} // namespace
} // namespace em

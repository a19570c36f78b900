#include "platform/processes/shell_query.h"

#include "support/unit_test.h"

namespace em {
namespace {

using End = ShellAnswer::End;

constexpr uint32_t kAmple = 20'000;

ShellAnswer ask(const char* command, uint32_t limitMs = kAmple) {
    return queryShell(command, limitMs, nullptr, nullptr);
}

bool isThere(void* path) {
    return std::filesystem::exists(*static_cast<const std::string*>(path));
}

std::ptrdiff_t openDescriptors() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

struct ShellQueryTest : test::UnitTest {
    ~ShellQueryTest() override {
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a child was not collected";
        EXPECT_EQ(openDescriptors(), m_descriptors);
    }

    // Waits until that process of a former query is gone; an orphan is collected by another process.
    static bool disappears(pid_t pid) {
        for (int i = 0; i < 2000 && kill(pid, 0) == 0; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return kill(pid, 0) != 0 && errno == ESRCH;
    }

    std::ptrdiff_t m_descriptors = openDescriptors();
};

TEST_F(ShellQueryTest, AnswersWithTheFirstCharacter) {
    const std::pair<const char*, int> cases[] = {
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

TEST_F(ShellQueryTest, CopesWithFailingCalls) {
    // times: 0 = always
    const std::tuple<const char*, int, int, End> cases[] = {
        {"poll", EINTR, 2, End::Answered},           {"read", EINTR, 2, End::Answered},
        {"waitpid", EINTR, 2, End::Answered},        {"pidfd_open", ENOSYS, 0, End::Answered},
        {"waitpid", ECHILD, 1, End::Answered},       {"pipe2", EMFILE, 1, End::NotStarted},
        {"posix_spawn", EAGAIN, 1, End::NotStarted},
    };
    for (const auto& [call, error, times, end] : cases) {
        fake::reset();
        fake::failNth(call, 1, error, times);
        const ShellAnswer answer = ask("sleep 0.01; echo E");
        EXPECT_EQ(answer.end, end) << call;
        EXPECT_EQ(answer.firstCharacter, end == End::Answered ? 'E' : -1) << call;
        while (waitpid(-1, nullptr, 0) > 0) { // the one that seemed to be collected elsewhere
        }
    }
}

TEST_F(ShellQueryTest, HangingToolsDieWithTheirGroup) {
    std::string ready = m_files.pathOf("ready");
    for (const char* before : {"", "echo E; exec > /dev/null; "}) {
        const std::string command = std::string(before) + "trap '' TERM; sleep 60 & echo $$ $! > " +
                                    m_files.pathOf("pids") + "; : > " + ready + "; wait";
        const ShellAnswer answer = queryShell(command.c_str(), kAmple, isThere, &ready);
        EXPECT_EQ(answer.end, End::CutShort);
        EXPECT_EQ(answer.firstCharacter, -1);
        pid_t shell = 0;
        pid_t sleeper = 0;
        ASSERT_EQ(std::sscanf(m_files.read("pids").c_str(), "%d %d", &shell, &sleeper), 2);
        EXPECT_TRUE(disappears(shell));
        EXPECT_TRUE(disappears(sleeper));
        std::filesystem::remove(ready);
    }
}

TEST_F(ShellQueryTest, EndsAtItsLimitAndAtTheCallersStop) {
    EXPECT_EQ(ask("echo E; exec sleep 60", 30).end, End::CutShort);
    fake::failNth("pidfd_open", 1, ENOSYS);
    EXPECT_EQ(ask("exec sleep 60", 30).end, End::CutShort);
    int count = 0;
    const auto thirdTime = [](void* times) { return ++*static_cast<int*>(times) >= 3; };
    EXPECT_EQ(queryShell("exec sleep 60", kAmple, thirdTime, &count).end, End::CutShort);
    EXPECT_EQ(count, 3) << "looked at in slices of the wait";
}

} // namespace
} // namespace em

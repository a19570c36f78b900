// The check itself: a thing of each kind that stays is seen while it is there, and is no difference
// afterwards.
#include "rig/left_behind.h"

#include "base/unique_fd.h"
#include "support/unit_test.h"

namespace em::test {
namespace {

using LeftBehindTest = UnitTest;

TEST_F(LeftBehindTest, ShowsEachKindAsLongAsItIsThere) {
    using namespace std::chrono_literals;
    const std::string file = m_files.pathOf("lock");
    int fd = -1;
    pid_t child = -1;
    std::promise<void> end;
    std::thread thread;
    sigset_t mask;
    // What it shows, how it comes, how it goes.
    const std::tuple<const char*, std::function<void()>, std::function<void()>> kinds[] = {
        {"left: thread", [&] { thread = std::thread([&] { end.get_future().wait(); }); },
         [&] {
             end.set_value();
             thread.join();
         }},
        {"left: file", [&] { fd = ::creat(file.c_str(), 0600); },
         [&] {
             ::unlink(file.c_str());
             ::close(fd);
         }},
        {"left: descriptor", [&] { fd = ::open("/dev/null", O_RDONLY); }, [&] { ::close(fd); }},
        {"left: lock FLOCK WRITE",
         [&] {
             fd = ::open(m_files.path().c_str(), O_RDONLY);
             ::flock(fd, LOCK_EX);
         },
         [&] { ::close(fd); }},
        {"left: process",
         [&] {
             child = ::fork();
             if (child == 0) {
                 ::pause();
             }
         },
         [&] {
             ::kill(child, SIGKILL);
             ::waitpid(child, nullptr, 0);
         }},
        {"left: uncollected child",
         [&] {
             child = ::fork();
             if (child == 0) {
                 ::_exit(0);
             }
             siginfo_t ended;
             ::waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT);
         },
         [&] { ::waitpid(child, nullptr, 0); }},
        {"left: SigBlk",
         [&] {
             sigset_t all;
             sigfillset(&all);
             ::pthread_sigmask(SIG_SETMASK, &all, &mask);
         },
         [&] { ::pthread_sigmask(SIG_SETMASK, &mask, nullptr); }},
    };
    for (const auto& [line, comes, goes] : kinds) {
        const LeftBehind before({m_files.path()});
        comes();
        EXPECT_NE(before.difference(0ms).find(line), std::string::npos) << before.difference(0ms);
        goes();
        EXPECT_EQ(before.difference(), "") << line;
    }
    fd = ::open("/dev/null", O_RDONLY);
    const LeftBehind before;
    ::close(fd);
    EXPECT_NE(before.difference(0ms).find("gone: descriptor"), std::string::npos);
}

} // namespace
} // namespace em::test

// The check itself: a thing of each kind that stays is seen while it is there, and is no difference
// afterwards.
#include "rig/left_behind.h"

#include "support/unit_test.h"

namespace em::test {
namespace {

using LeftBehindTest = UnitTest;

TEST_F(LeftBehindTest, ShowsEachKindAsLongAsItIsThere) {
    using namespace std::chrono_literals;
    std::thread([] {}).join(); // the first thread brings the thread sanitizer's own
    const std::string file = m_files.pathOf("lock");
    int fd = -1;
    pid_t child = -1;
    std::jthread thread;
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, nullptr, &before);
    const auto startChild = [&](bool stays) {
        child = ::fork();
        if (child == 0) {
            stays ? static_cast<void>(::pause()) : ::_exit(0);
        }
    };
    // What it shows, and how it comes.
    const std::pair<const char*, std::function<void()>> kinds[] = {
        {"left: thread",
         [&] {
             thread = std::jthread([](const std::stop_token& stop) {
                 while (!stop.stop_requested()) {
                     std::this_thread::yield();
                 }
             });
         }},
        {"left: file", [&] { fd = ::creat(file.c_str(), 0600); }},
        {"left: descriptor", [&] { fd = ::open("/dev/null", O_RDONLY); }},
        {"left: lock FLOCK WRITE", [&] { ::flock(fd = ::open(m_files.path().c_str(), O_RDONLY), LOCK_EX); }},
        {"left: process", [&] { startChild(true); }},
        {"left: uncollected child",
         [&] {
             startChild(false);
             siginfo_t ended;
             ::waitid(P_PID, static_cast<id_t>(child), &ended, WEXITED | WNOWAIT);
         }},
        {"left: SigBlk", [&] { ::pthread_sigmask(SIG_SETMASK, &all, nullptr); }},
    };
    const auto endAll = [&] {
        thread = {};
        ::close(std::exchange(fd, -1));
        ::unlink(file.c_str());
        if (child > 0) {
            ::kill(child, SIGKILL);
            ::waitpid(std::exchange(child, -1), nullptr, 0);
        }
        ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    };
    for (const auto& [line, comes] : kinds) {
        const LeftBehind nothing({m_files.path()});
        comes();
        EXPECT_NE(nothing.difference(0ms).find(line), std::string::npos) << nothing.difference(0ms);
        const LeftBehind there({m_files.path()});
        endAll();
        EXPECT_NE(there.difference(0ms).find("gone: "), std::string::npos) << line;
        EXPECT_EQ(nothing.difference(), "") << line;
    }
}

} // namespace
} // namespace em::test

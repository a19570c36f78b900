#include "platform/processes/child_process.h"

#include <sys/resource.h>

#include <sstream>

#include "support/unit_test.h"

namespace em {
namespace {

#ifdef EM_SANITIZED
constexpr int kStartsByClone = 0;
#else
constexpr int kStartsByClone = 1;
#endif

struct ChildProcessTest : test::UnitTest {
    // Runs the command to its end, its output in a file; returns that.
    std::string outputOf(const std::string& command, ChildSignals signals = ChildSignals::BlockEnding) {
        const std::string redirected = "exec > " + m_files.pathOf("output") + "; " + command;
        const ChildProcess child = startShell(redirected.c_str(), signals);
        EXPECT_TRUE(child.started()) << child.error;
        EXPECT_EQ(waitForChild(child, Deadline::in(20'000)).end, ChildEnd::Ended);
        return m_files.read("output");
    }
};

TEST_F(ChildProcessTest, SignalMaskIsTheCallersButForTheAskedSignals) {
    // As in the status of a process: a bit for each of SIGHUP, SIGINT, SIGUSR1, SIGALRM, SIGTERM; of SIGUSR1.
    const std::pair<ChildSignals, std::string> cases[] = {{ChildSignals::BlockEnding, "0000000000006203\n"},
                                                          {ChildSignals::UnblockAlarm, "0000000000000200\n"}};
    sigset_t callers;
    sigset_t before;
    sigemptyset(&callers);
    sigaddset(&callers, SIGUSR1);
    sigaddset(&callers, SIGALRM);
    pthread_sigmask(SIG_SETMASK, &callers, &before);
    for (const auto& [signals, blocked] : cases) {
        EXPECT_EQ(outputOf("while read -r name value; do case $name in SigBlk:) echo $value;; esac; done"
                           " < /proc/self/status",
                           signals),
                  blocked);
    }
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, &before, &after);
    EXPECT_TRUE(sigismember(&after, SIGUSR1) == 1 && sigismember(&after, SIGTERM) == 0);
}

#ifndef EM_SANITIZED // under which the child does not share this memory
bool handledInChild = true;

TEST_F(ChildProcessTest, NoHandlerOfTheParentsIsLeftInTheChild) {
    const auto before = std::signal(SIGUSR2, [](int) {});
    fake::watch([](const char* call) {
        struct sigaction present = {};
        if (std::strcmp(call, "execv") == 0 && ::sigaction(SIGUSR2, nullptr, &present) == 0) {
            handledInChild = present.sa_handler != SIG_DFL;
        }
    });
    outputOf("true");
    EXPECT_FALSE(handledInChild);
    EXPECT_NE(std::signal(SIGUSR2, before), SIG_DFL) << "the parent's own";
}
#endif

TEST_F(ChildProcessTest, ClosesDescriptorsBelowTheLimit) {
    // The limit as the system reports it, and the last one closed.
    const std::pair<rlim_t, int> cases[] = {{255, 1023}, {256, 255}};
    for (const char* missing : {"nothing", "close_range"}) {
        for (const auto& [limit, lastClosed] : cases) {
            fake::failNth(missing, 1, ENOSYS, 0);
            const UniqueFd low(dup(0));
            const UniqueFd closed(dup2(0, lastClosed));
            const UniqueFd kept(dup2(0, lastClosed + 1));
            rlimit before = {};
            getrlimit(RLIMIT_NOFILE, &before);
            const rlimit lowered = {limit, before.rlim_max};
            setrlimit(RLIMIT_NOFILE, &lowered);
            std::istringstream words(outputOf("for fd in /proc/self/fd/*; do echo ${fd##*/}; done"));
            setrlimit(RLIMIT_NOFILE, &before);
            const std::set<int> open{std::istream_iterator<int>(words), {}};
            // The shell's own look at the directory takes the lowest free one.
            EXPECT_EQ(open, (std::set<int>{0, 1, 2, 3, kept.get()})) << limit << ' ' << missing;
        }
    }
}

TEST_F(ChildProcessTest, FailingExecIsTheChildsOwnFailure) {
    fake::setPath(place::kShell, "/no/such/shell");
    const UniqueFd error(open(m_files.pathOf("error").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    const UniqueFd realError(dup(STDERR_FILENO));
    dup2(error.get(), STDERR_FILENO);
    const ChildProcess child = startShell("cleanup --now", ChildSignals::BlockEnding);
    dup2(realError.get(), STDERR_FILENO);
    ASSERT_TRUE(child.started());
    int status = 0;
    ASSERT_EQ(waitpid(child.pid, &status, 0), child.pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    EXPECT_EQ(m_files.read("error"), "cleanup --now: No such file or directory\n");
}

TEST_F(ChildProcessTest, ForksWhereItCannotClone) {
    fake::failNth("clone", 1, EINVAL, 0);
    fake::failNth("fork", 2, EAGAIN, 0);
    EXPECT_EQ(outputOf("echo forked"), "forked\n");
    const ChildProcess child = startShell("echo", ChildSignals::BlockEnding);
    EXPECT_FALSE(child.started());
    EXPECT_EQ(child.error, EAGAIN);
    EXPECT_EQ(fake::calls("clone"), 2 * kStartsByClone);
}

TEST_F(ChildProcessTest, WaitEndsAsTheChildDoes) {
    // The failing call, with its error, from its first time on.
    const std::tuple<std::string, std::string, int, int, uint32_t, ChildEnd> cases[] = {
        {"true", "", 0, 0, 20'000, ChildEnd::Ended},
        {"kill -9 $$", "", 0, 0, 20'000, ChildEnd::Ended},
        {"exec sleep 60", "", 0, 0, 30, ChildEnd::DeadlinePassed},
        {"kill -STOP $$", "", 0, 0, 60, ChildEnd::DeadlinePassed},
        {"sleep 0.02", "poll", EINTR, 3, 20'000, ChildEnd::Ended},
        {"exec sleep 60", "waitpid", EINVAL, 1, 20'000, ChildEnd::WaitFailed},
        {"sleep 0.02", "poll", ENOMEM, 0, 20'000, ChildEnd::Ended},
        {"exec sleep 60", "poll", ENOMEM, 0, 60, ChildEnd::DeadlinePassed},
    };
    for (const auto& [command, failing, error, times, limitMs, wanted] : cases) {
        for (const bool described : {true, false}) {
            if (!described && failing == "poll") {
                continue;
            }
            fake::reset();
            if (!described) { // as on a kernel without such descriptors
                fake::failNth("clone", 1, EINVAL, 0);
                fake::failNth("pidfd_open", 1, ENOSYS, 0);
            }
            const ChildProcess child = startShell(command.c_str(), ChildSignals::UnblockAlarm);
            EXPECT_EQ(child.pidfd.valid(), described);
            fake::failNth(failing, 1, error, times);
            const ChildWait end = waitForChild(child, Deadline::in(limitMs));
            EXPECT_EQ(end.end, wanted) << command << ' ' << failing;
            EXPECT_EQ(end.error, wanted == ChildEnd::WaitFailed ? error : 0);
            fake::reset();
            if (end.end != ChildEnd::Ended) {
                kill(child.pid, SIGKILL);
                EXPECT_EQ(waitForChild(child, Deadline::in(20'000)).end, ChildEnd::Ended);
            }
        }
    }
}

TEST_F(ChildProcessTest, LeavesOtherChildrenAlone) {
    const ChildProcess other = startShell("true", ChildSignals::BlockEnding);
    const ChildProcess mine = startShell("true", ChildSignals::BlockEnding);
    EXPECT_EQ(waitForChild(mine, Deadline::in(20'000)).end, ChildEnd::Ended);
    EXPECT_EQ(waitForChild(mine, Deadline::in(20'000)).end, ChildEnd::CollectedElsewhere);
    EXPECT_EQ(waitForChild(other, Deadline::in(20'000)).end, ChildEnd::Ended);
}

} // namespace
} // namespace em

#include "platform/child_process.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>

#include <csignal>
#include <cstring>
#include <set>
#include <sstream>

#include "support/temporary_directory.h"

namespace em {
namespace {

#ifdef EM_SANITIZED
constexpr int kStartsByClone = 0;
#else
constexpr int kStartsByClone = 1;
#endif

std::set<int> signalsIn(const std::string& hexadecimal) {
    const uint64_t bits = std::stoull(hexadecimal, nullptr, 16);
    std::set<int> signals;
    for (int signal = 1; signal <= 64; ++signal) {
        if ((bits >> (signal - 1) & 1) != 0) {
            signals.insert(signal);
        }
    }
    return signals;
}

// Blocks nothing but these signals for a test's thread.
class OnlyBlocked {
public:
    explicit OnlyBlocked(std::initializer_list<int> signals) {
        sigset_t mask;
        sigemptyset(&mask);
        for (const int signal : signals) {
            sigaddset(&mask, signal);
        }
        pthread_sigmask(SIG_SETMASK, &mask, &m_Before);
    }
    ~OnlyBlocked() { pthread_sigmask(SIG_SETMASK, &m_Before, nullptr); }
    OnlyBlocked(const OnlyBlocked&) = delete;
    OnlyBlocked& operator=(const OnlyBlocked&) = delete;

private:
    sigset_t m_Before;
};

class DescriptorLimit {
public:
    explicit DescriptorLimit(rlim_t limit) {
        getrlimit(RLIMIT_NOFILE, &m_Before);
        const rlimit changed = {limit, m_Before.rlim_max};
        setrlimit(RLIMIT_NOFILE, &changed);
    }
    ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &m_Before); }
    DescriptorLimit(const DescriptorLimit&) = delete;
    DescriptorLimit& operator=(const DescriptorLimit&) = delete;

private:
    rlimit m_Before;
};

class ChildProcessTest : public testing::Test {
protected:
    // Runs the command to its end, its output in a file; returns that.
    std::string outputOf(const std::string& command, ChildSignals signals = ChildSignals::BlockEnding) {
        const std::string redirected = "exec > " + m_Files.pathOf("output") + "; " + command;
        const ChildProcess child = StartShell(redirected.c_str(), signals);
        EXPECT_TRUE(child.started()) << child.error;
        EXPECT_EQ(WaitForChild(child, Deadline::in(20'000)).end, ChildEnd::Ended);
        return m_Files.read("output");
    }

    twin::Scope m_Twin;
    test::TemporaryDirectory m_Files;
};

TEST_F(ChildProcessTest, SignalMaskIsTheCallersButForTheAskedSignals) {
    const struct {
        ChildSignals signals;
        std::set<int> blocked;
    } cases[] = {
        {ChildSignals::BlockEnding, {SIGUSR1, SIGINT, SIGTERM, SIGHUP, SIGALRM}},
        {ChildSignals::UnblockAlarm, {SIGUSR1}},
    };
    const OnlyBlocked callers({SIGUSR1, SIGALRM});
    for (const auto& [signals, blocked] : cases) {
        const std::string mask =
            outputOf("while read -r name value; do case $name in SigBlk:) echo $value;; esac; done"
                     " < /proc/self/status",
                     signals);
        EXPECT_EQ(signalsIn(mask), blocked);
    }
    sigset_t after;
    pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_TRUE(sigismember(&after, SIGUSR1) == 1 && sigismember(&after, SIGTERM) == 0);
}

bool* handledInChild = nullptr;

void lookAtHandler(const char* call) {
    struct sigaction present = {};
    if (std::strcmp(call, "execv") == 0 && ::sigaction(SIGUSR2, nullptr, &present) == 0) {
        *handledInChild = present.sa_handler != SIG_DFL;
    }
}

TEST_F(ChildProcessTest, NoHandlerOfTheParentsIsLeftInTheChild) {
    handledInChild = static_cast<bool*>(
        mmap(nullptr, sizeof(bool), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    ASSERT_NE(handledInChild, MAP_FAILED);
    *handledInChild = true;
    const auto before = std::signal(SIGUSR2, [](int) {});
    twin::watch(lookAtHandler);
    outputOf("true");
    EXPECT_FALSE(*handledInChild);
    struct sigaction present = {};
    sigaction(SIGUSR2, nullptr, &present);
    EXPECT_NE(present.sa_handler, SIG_DFL) << "the parent's own handler";
    std::signal(SIGUSR2, before);
    munmap(handledInChild, sizeof(bool));
}

TEST_F(ChildProcessTest, ClosesDescriptorsBelowTheLimit) {
    const struct {
        rlim_t limit; // as the system reports it
        int lastClosed;
    } cases[] = {{64, 1023}, {255, 1023}, {256, 255}, {700, 699}};
    for (const char* missing : {"", "close_range"}) {
        for (const auto& [limit, lastClosed] : cases) {
            if (*missing != '\0') {
                twin::failNth(missing, 1, ENOSYS, 0);
            }
            const UniqueFd low(dup(0));
            const UniqueFd closed(dup2(0, lastClosed));
            const UniqueFd kept(dup2(0, lastClosed + 1));
            std::string list;
            {
                const DescriptorLimit lowered(limit);
                list = outputOf("for fd in /proc/self/fd/*; do echo ${fd##*/}; done");
            }
            std::istringstream words(list);
            const std::set<int> open{std::istream_iterator<int>(words), {}};
            std::set<int> expected = {0, 1, 2, kept.get()};
            // The shell's own look at the directory takes the lowest free one.
            expected.insert(3);
            EXPECT_EQ(open, expected) << limit << ' ' << missing;
        }
    }
}

TEST_F(ChildProcessTest, FailingExecIsTheChildsOwnFailure) {
    twin::setPath("shell", "/no/such/shell");
    const UniqueFd error(open(m_Files.pathOf("error").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    const UniqueFd realError(dup(STDERR_FILENO));
    dup2(error.get(), STDERR_FILENO);
    const ChildProcess child = StartShell("cleanup --now", ChildSignals::BlockEnding);
    dup2(realError.get(), STDERR_FILENO);
    ASSERT_TRUE(child.started());
    int status = 0;
    ASSERT_EQ(waitpid(child.pid, &status, 0), child.pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    EXPECT_EQ(m_Files.read("error"), "cleanup --now: No such file or directory\n");
}

TEST_F(ChildProcessTest, ForksWhereItCannotClone) {
    twin::failNth("clone", 1, EINVAL, 0);
    twin::failNth("fork", 2, EAGAIN, 0);
    EXPECT_EQ(outputOf("echo forked"), "forked\n");
    const ChildProcess child = StartShell("echo", ChildSignals::BlockEnding);
    EXPECT_FALSE(child.started());
    EXPECT_EQ(child.error, EAGAIN);
    EXPECT_EQ(twin::calls("clone"), 2 * kStartsByClone);
}

struct WaitCase {
    const char* name;
    const char* command;
    const char* failing; // call, from its first time on
    int error;
    int times;
    uint32_t limitMs;
    ChildEnd end;
    int waitError;
};
const WaitCase kWaitCases[] = {
    {"ended", "true", "", 0, 0, 20'000, ChildEnd::Ended, 0},
    {"killed", "kill -9 $$", "", 0, 0, 20'000, ChildEnd::Ended, 0},
    {"deadline", "exec sleep 60", "", 0, 0, 30, ChildEnd::DeadlinePassed, 0},
    {"stopped", "kill -STOP $$", "", 0, 0, 60, ChildEnd::DeadlinePassed, 0},
    {"interrupted", "sleep 0.02", "poll", EINTR, 3, 20'000, ChildEnd::Ended, 0},
    {"no wait", "exec sleep 60", "waitpid", EINVAL, 1, 20'000, ChildEnd::WaitFailed, EINVAL},
    {"no poll", "exec sleep 60", "poll", ENOMEM, 1, 20'000, ChildEnd::WaitFailed, ENOMEM},
};

void PrintTo(const WaitCase& wait, std::ostream* stream) {
    *stream << wait.name;
}

TEST_F(ChildProcessTest, WaitEndsAsTheChildDoes) {
    for (const WaitCase& wait : kWaitCases) {
        for (const bool described : {true, false}) {
            if (!described && std::strcmp(wait.failing, "poll") == 0) {
                continue;
            }
            twin::reset();
            if (!described) { // as on a kernel without such descriptors
                twin::failNth("clone", 1, EINVAL, 0);
                twin::failNth("pidfd_open", 1, ENOSYS, 0);
            }
            const ChildProcess child = StartShell(wait.command, ChildSignals::UnblockAlarm);
            EXPECT_EQ(child.pidfd.valid(), described);
            if (wait.error != 0) {
                twin::failNth(wait.failing, 1, wait.error, wait.times);
            }
            const ChildWait end = WaitForChild(child, Deadline::in(wait.limitMs));
            EXPECT_EQ(end.end, wait.end) << testing::PrintToString(wait);
            EXPECT_EQ(end.error, wait.waitError) << testing::PrintToString(wait);
            twin::reset();
            if (end.end != ChildEnd::Ended) {
                kill(child.pid, SIGKILL);
                EXPECT_EQ(WaitForChild(child, Deadline::in(20'000)).end, ChildEnd::Ended);
            }
        }
    }
}

TEST_F(ChildProcessTest, LeavesOtherChildrenAlone) {
    const ChildProcess other = StartShell("true", ChildSignals::BlockEnding);
    const ChildProcess mine = StartShell("true", ChildSignals::BlockEnding);
    EXPECT_EQ(WaitForChild(mine, Deadline::in(20'000)).end, ChildEnd::Ended);
    EXPECT_EQ(WaitForChild(mine, Deadline::in(20'000)).end, ChildEnd::CollectedElsewhere);
    EXPECT_EQ(WaitForChild(other, Deadline::in(20'000)).end, ChildEnd::Ended);
}

TEST_F(ChildProcessTest, ChildrenThatTheKernelCollectsCountAsCollected) {
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    const ChildProcess child = StartShell("sleep 0.02", ChildSignals::BlockEnding);
    EXPECT_EQ(WaitForChild(child, Deadline::in(20'000)).end, ChildEnd::CollectedElsewhere);
    std::signal(SIGCHLD, before);
}

} // namespace
} // namespace em

#include "platform/processes/child_process.h"

#include <sched.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstring>

#include "base/cancellation_disabled.h"
#include "base/errno_keeper.h"
#include "contract/places.h"

namespace em {
namespace {

// A sanitizer's run-time must not run on the parent's memory in the child.
#ifdef EM_SANITIZED
constexpr bool kShareMemory = false;
#else
constexpr bool kShareMemory = true;
#endif

constexpr size_t kChildStack = size_t{32} * 1024;
constexpr unsigned kFirstClosed = 3;
constexpr long kLargestDoubtfulLimit = 255;
constexpr unsigned kAssumedLimit = 1024;

// All that the child needs, made before it exists: until its exec it may only make calls that are
// async-signal-safe, and it may share this process's memory.
struct ChildPlan {
    const char* shell;
    std::array<char*, 4> arguments;
    size_t commandLength;
    unsigned descriptorLimit;
    sigset_t mask;
};

// A doubtful limit is not believed: too few closed descriptors would keep the host's files open in a job for
// hours.
unsigned descriptorLimit() {
    const long limit = sys::sysconf(_SC_OPEN_MAX);
    if (limit <= kLargestDoubtfulLimit) {
        return kAssumedLimit;
    }
    return static_cast<unsigned>(std::min<long>(limit, INT_MAX));
}

void closeInherited(unsigned limit) {
    if (sys::close_range(kFirstClosed, limit - 1, 0) == 0) {
        return;
    }
    for (unsigned fd = kFirstClosed; fd < limit; ++fd) {
        static_cast<void>(sys::close(static_cast<int>(fd))); // most are not open
    }
}

// No handler of the host's may run in the child. The table of dispositions is the child's own.
void dropSignalHandlers() {
    struct sigaction toDefault = {};
    toDefault.sa_handler = SIG_DFL;
    for (int signal = 1; signal < NSIG; ++signal) {
        struct sigaction present = {};
        if (sys::sigaction(signal, nullptr, &present) == 0 && present.sa_handler != SIG_DFL &&
            present.sa_handler != SIG_IGN) {
            static_cast<void>(sys::sigaction(signal, &toDefault, nullptr));
        }
    }
}

void writeError(const char* text, size_t length) {
    static_cast<void>(sys::write(STDERR_FILENO, text, length)); // nobody is left to be told
}

// What perror writes, by async-signal-safe calls.
void reportFailedExec(const ChildPlan& plan, int error) {
    const char* const known = ::strerrordesc_np(error);
    const char* const text = known != nullptr ? known : "Unknown error";
    writeError(plan.arguments[2], plan.commandLength);
    writeError(": ", 2);
    writeError(text, std::strlen(text));
    writeError("\n", 1);
}

// Handlers before the mask: a signal that arrives at once must not run one of the host's in here.
[[noreturn]] void becomeShell(const ChildPlan& plan) {
    closeInherited(plan.descriptorLimit);
    dropSignalHandlers();
    static_cast<void>(sys::pthread_sigmask(SIG_SETMASK, &plan.mask, nullptr));
    static_cast<void>(sys::execv(plan.shell, plan.arguments.data()));
    reportFailedExec(plan, errno);
    sys::exitNow(1);
}

int childRoutine(void* plan) {
    becomeShell(*static_cast<const ChildPlan*>(plan));
}

// Keeps the host's handlers and cancellations away while a child runs on this process's memory.
class Undisturbed {
public:
    Undisturbed() {
        sigset_t all;
        sigfillset(&all);
        static_cast<void>(sys::pthread_sigmask(SIG_SETMASK, &all, &m_mask));
    }
    ~Undisturbed() {
        const ErrnoKeeper keeper;
        static_cast<void>(sys::pthread_sigmask(SIG_SETMASK, &m_mask, nullptr));
    }
    Undisturbed(const Undisturbed&) = delete;
    Undisturbed& operator=(const Undisturbed&) = delete;

    [[nodiscard]] const sigset_t& maskBefore() const { return m_mask; }

private:
    CancellationDisabled m_uncancelled; // first in, last out
    sigset_t m_mask = {};
};

sigset_t childMask(sigset_t mask, ChildSignals signals) {
    if (signals == ChildSignals::UnblockAlarm) {
        sigdelset(&mask, SIGALRM);
        return mask;
    }
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGALRM}) {
        sigaddset(&mask, signal);
    }
    return mask;
}

// The child runs on this process's memory until its exec, and this thread waits for that.
ChildProcess startSharing(ChildPlan& plan) {
    alignas(16) std::array<std::byte, kChildStack> stack; // lives as long as the child needs it
    int pidfd = -1;
    ChildProcess child;
    child.pid = sys::clone(childRoutine, stack.data() + stack.size(),
                           CLONE_VM | CLONE_VFORK | CLONE_PIDFD | SIGCHLD, &plan, &pidfd);
    if (child.started()) {
        child.pidfd.reset(pidfd);
    }
    return child;
}

// The same child by the way that always works, at the price of the host's page tables.
ChildProcess startCopied(const ChildPlan& plan) {
    ChildProcess child;
    child.pid = sys::fork();
    if (child.pid == 0) {
        becomeShell(plan);
    }
    if (child.started()) {
        child.pidfd.reset(sys::pidfd_open(child.pid));
    } else {
        child.error = errno;
    }
    return child;
}

} // namespace

ChildProcess startShell(const char* command, ChildSignals signals) {
    static char name[] = "sh";
    static char option[] = "-c";
    ChildPlan plan = {.shell = sys::path(place::kShell),
                      .arguments = {name, option, const_cast<char*>(command), nullptr},
                      .commandLength = std::strlen(command),
                      .descriptorLimit = descriptorLimit(),
                      .mask = {}};
    // Before the child exists and until it is another program: a handler of the host's that runs in the child
    // would change this process.
    const Undisturbed undisturbed;
    plan.mask = childMask(undisturbed.maskBefore(), signals);
    if constexpr (kShareMemory) {
        if (ChildProcess child = startSharing(plan); child.started()) {
            return child;
        }
    }
    return startCopied(plan);
}

namespace {

// Where nothing announces the child's end: short sleeps at first, for the many children that end at once.
class SleepSlices {
public:
    void sleep(uint32_t remainingMs) {
        const uint32_t slice = std::min(m_nextMs, remainingMs);
        const timespec request = {.tv_sec = 0, .tv_nsec = long{1'000'000} * slice};
        static_cast<void>(sys::clock_nanosleep(CLOCK_MONOTONIC, 0, &request, nullptr)); // a short one is fine
        m_nextMs = std::min(m_nextMs * 2, kLongestMs);
    }

private:
    static constexpr uint32_t kLongestMs = 50;
    uint32_t m_nextMs = 10;
};

} // namespace

ChildWait waitForChild(const ChildProcess& child, const Deadline& deadline) {
    pollfd announced = {.fd = child.pidfd.get(), .events = POLLIN, .revents = 0};
    SleepSlices slices;
    for (;;) {
        int status = 0; // not examined
        const pid_t collected = sys::waitpid(child.pid, &status, WNOHANG);
        if (collected == child.pid) {
            return {ChildEnd::Ended};
        }
        if (collected < 0 && errno != EINTR) {
            return errno == ECHILD ? ChildWait{ChildEnd::CollectedElsewhere}
                                   : ChildWait{ChildEnd::WaitFailed, errno};
        }
        const uint32_t remaining = deadline.remainingMs();
        if (remaining == 0) {
            return {ChildEnd::DeadlinePassed};
        }
        // An end that is announced but cannot be collected yet, as under a debugger, must not make this spin.
        // Nor must a poll that fails for want of memory end the wait: the child can be waited for without it.
        const bool tells = announced.fd >= 0 && announced.revents == 0;
        if (!tells ||
            (sys::poll(&announced, 1, static_cast<int>(std::min<uint32_t>(remaining, INT_MAX))) < 0 &&
             errno != EINTR)) {
            slices.sleep(remaining);
        }
    }
}

} // namespace em

#include "host/sandbox/bubblewrap.h"

#include <fcntl.h>
#include <linux/keyctl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "contract/places.h"

namespace volad_dev {
namespace {

// No core, and none for the program that the machine hands them to, which runs outside: to the kernel that is
// what a bound of one byte means, and none of 0 bytes does.
constexpr rlimit kNoCore = {1, 1};

// Of bubblewrap: a shell that gives the command its own standard error back and becomes it.
std::vector<std::string> commandLine(const std::vector<std::string>& command) {
    std::vector<std::string> line = {
        kBubblewrap,
        "--args",
        std::to_string(kArgumentsFd),
        "--json-status-fd",
        std::to_string(kStatusFd),
        em::place::kShell,
        "-c",
        fmt::format("exec \"$@\" 2>&{0} {0}>&- {1}>&-", int{kErrorFd}, int{kStatusFd}),
        "sh"};
    line.insert(line.end(), command.begin(), command.end());
    return line;
}

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> all;
    all.reserve(texts.size() + 1);
    for (std::string& text : texts) {
        all.push_back(text.data());
    }
    all.push_back(nullptr);
    return all;
}

[[noreturn]] void endWithReason(int errors, const char* reason) {
    dprintf(errors, "%s\n", reason);
    _exit(127);
}

// Each descriptor goes to its place, by way of one above all places, and nothing else of the caller's stays
// open.
void placeDescriptors(const Launch& launch, const SandboxOptions& options) {
    std::vector<std::pair<int, int>> places = {
        {launch.arguments.get(), kArgumentsFd},
        {launch.marker.get(), kMarkerFd},
        {launch.answer.get(), kAnswerFd},
        {launch.tool.get(), kToolFd},
        {launch.filter.get(), kFilterFd},
        {launch.status.writeEnd.get(), kStatusFd},
        {launch.input.valid() ? launch.input.get() : options.standard[0], STDIN_FILENO},
        {options.standard[1], STDOUT_FILENO},
        {options.standard[2], kErrorFd},
        {launch.errors.writeEnd.get(), STDERR_FILENO}};
    int next = kFirstPassedFd;
    for (const int fd : options.descriptors) {
        places.emplace_back(fd, next++);
    }
    for (auto& [fd, place] : places) {
        fd = fcntl(fd, F_DUPFD, next);
        if (fd < 0) {
            endWithReason(launch.errors.writeEnd.get(), strerrordesc_np(errno));
        }
    }
    for (const auto& [fd, place] : places) {
        dup2(fd, place);
    }
    close_range(static_cast<unsigned>(next), ~0U, 0);
}

// What the caller ignores or blocks would pass down to all that runs inside.
void resetSignals() {
    for (int number = 1; number < NSIG; ++number) {
        signal(number, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr); // NOLINT(concurrency-mt-unsafe): the child has one thread
}

[[noreturn]] void becomeBubblewrap(const Launch& launch, const SandboxOptions& options, pid_t launcher,
                                   char* const argv[]) {
    placeDescriptors(launch, options);
    setrlimit(RLIMIT_CORE, &kNoCore);
    try {
        layPrivateMounts(launch.mounts, {STDIN_FILENO, STDOUT_FILENO, kErrorFd});
    } catch (const std::exception& exception) {
        endWithReason(STDERR_FILENO, exception.what());
    }
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != launcher) {
        _exit(127); // it ended before the line above
    }
    if (options.defaultSignals) {
        resetSignals();
    }
    if (options.ownSession) {
        setsid();
    }
    // The caller's keys would be listed in /proc/keys; where there are no keyrings, nothing is to be hidden.
    syscall(SYS_keyctl, KEYCTL_JOIN_SESSION_KEYRING, nullptr);
    char* const environment[] = {nullptr}; // everybody inside can read that of process 1
    execve(argv[0], argv, environment);
    endWithReason(STDERR_FILENO, fmt::format("{}: {}", kBubblewrap, strerrordesc_np(errno)).c_str());
}

} // namespace

std::string bubblewrapFault(const char* file) {
    struct stat status = {};
    if (lstat(file, &status) != 0) {
        return fmt::format("{}: {} (Debian package bubblewrap)", file, strerrordesc_np(errno));
    }
    const bool ours =
        S_ISREG(status.st_mode) && status.st_uid == 0 && (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
    return ours ? "" : fmt::format("{} is not a file that only root may change", file);
}

pid_t startBubblewrap(const Launch& launch, const SandboxOptions& options,
                      const std::vector<std::string>& command) {
    std::vector<std::string> line = commandLine(command);
    const std::vector<char*> argv = pointers(line);
    const pid_t launcher = getpid();
    rlimit cores = {};
    getrlimit(RLIMIT_CORE, &cores);
    if (cores.rlim_max < kNoCore.rlim_max) {
        setrlimit(RLIMIT_CORE, &kNoCore); // only root may, and out here alone
    }
    // Not by fork, with which a sanitizer's thread comes up in the child as well.
    const auto child =
        static_cast<pid_t>(syscall(SYS_clone, kPrivateNamespaces | SIGCHLD, nullptr, nullptr, nullptr, 0));
    const int error = errno;
    if (child != 0 && cores.rlim_max < kNoCore.rlim_max) {
        setrlimit(RLIMIT_CORE, &cores);
    }
    if (child < 0) {
        throw std::system_error(error, std::generic_category(), "clone");
    }
    if (child == 0) {
        becomeBubblewrap(launch, options, launcher, argv.data());
    }
    return child;
}

} // namespace volad_dev

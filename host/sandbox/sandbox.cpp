#include "host/sandbox/sandbox.h"

#include <grp.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "base/unique_fd.h"
#include "host/common/failure.h"
#include "host/common/tool_files.h"
#include "host/sandbox/bubblewrap.h"
#include "host/sandbox/memory_file.h"
#include "host/sandbox/sandbox_arguments.h"
#include "host/sandbox/sandbox_layout.h"
#include "host/sandbox/stream_check.h"
#include "host/sandbox/system_call_filter.h"
#include "host/sandbox/visible_paths.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

constexpr const char* kGateName = "volad-dev-gate";
constexpr uid_t kNobody = 65534;

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

// What the guard compares with: the namespaces out here, and which file stands in place of the commands.
std::string markerText(SandboxMode mode, const std::string& standIn) {
    std::string text;
    for (const char* kind : layout::kMarkedNamespaces) {
        text += fs::read_symlink(std::string("/proc/self/ns/") + kind).string() + '\n';
    }
    struct stat status = {};
    if (stat(standIn.c_str(), &status) != 0) {
        fail(standIn);
    }
    return text + fmt::format("{}:{} {}\n", status.st_dev, status.st_ino, rulesOf(mode).name);
}

// Each with a NUL behind it: one with a NUL in it would be several, and mount what it likes.
std::string joined(const std::vector<std::string>& arguments) {
    constexpr size_t kMostArguments = 8'900; // bubblewrap's own bound is 9000, the command's included
    if (arguments.size() > kMostArguments) {
        throw Failure(
            fmt::format("the sandbox would take {} arguments of bubblewrap, more than {}: name fewer "
                        "variables or places",
                        arguments.size(), kMostArguments),
            kExitUsage);
    }
    std::string text;
    for (const std::string& argument : arguments) {
        if (argument.find('\0') != std::string::npos) {
            throw Failure(fmt::format("{}: refused, a NUL byte in it", argument), kExitUsage);
        }
        text.append(argument).push_back('\0');
    }
    return text;
}

// The gate asks the guard inside and then becomes the command.
std::vector<std::string> guarded(const std::vector<std::string>& command, SandboxMode mode) {
    std::vector<std::string> line = {helperFile(kGateName)};
    if (mode == SandboxMode::Ending) {
        line.emplace_back(kEndingOption);
    }
    line.insert(line.end(), command.begin(), command.end());
    std::string& program = line[line.size() - command.size()];
    if (program.find('/') != std::string::npos) {
        program = fs::absolute(program); // the directory inside is another one
    }
    return line;
}

int collect(pid_t child) {
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
        if (errno != EINTR) {
            fail("waitpid");
        }
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

[[noreturn]] void failWithoutSandbox(std::string reason) {
    reason.resize(std::min(reason.size(), reason.find('\n')));
    if (reason.ends_with(strerrordesc_np(E2BIG))) {
        throw Failure(
            "the environment inside and the command are too large for the kernel to start a program "
            "with",
            kExitUsage);
    }
    reason = reason.empty() ? "bubblewrap ended without a word" : reason;
    throw Failure(
        fmt::format("no sandbox: {}; needed are bubblewrap and user namespaces (sysctl "
                    "kernel.unprivileged_userns_clone=1, user.max_user_namespaces>0; in a container also "
                    "--security-opt seccomp=unconfined --security-opt systempaths=unconfined)",
                    reason),
        kExitNoSandbox);
}

// From here on the process sees, opens and owns what nobody does.
void giveUpRoot() {
    if (geteuid() != 0 && getuid() != 0) {
        return;
    }
    if (setgroups(0, nullptr) != 0 || setresgid(kNobody, kNobody, kNobody) != 0 ||
        setresuid(kNobody, kNobody, kNobody) != 0) {
        fail("cannot give up root");
    }
    prctl(PR_SET_DUMPABLE, 1); // else the files of the process itself stay root's
}

Launch prepare(const SandboxOptions& options) {
    if (options.asNobody) {
        giveUpRoot();
    }
    const std::string bubblewrap = bubblewrapFault(kBubblewrap);
    if (!bubblewrap.empty()) {
        throw std::runtime_error(bubblewrap);
    }
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nobody changes the environment
    const char* const coverage = std::getenv(layout::kCoverageVariable);
    const bool counted = coverage != nullptr && *coverage != '\0';
    const VisiblePaths paths(options, toolDirectories(), counted ? coverage : nullptr);
    const std::string standIn = helperFile(rulesOf(options.mode).file);
    const std::vector<std::string> arguments =
        sandboxArguments(options, paths, standIn, {kMarkerFd, kAnswerFd, kToolFd, kFilterFd}, environ);
    em::UniqueFd filter = fileInMemory("");
    writeSystemCallFilter(filter.get());
    lseek(filter.get(), 0, SEEK_SET);
    return {fileInMemory(joined(arguments)),
            fileInMemory(markerText(options.mode, standIn)),
            fileInMemory(maintenanceAnswer(options.maintenance)),
            fileInMemory(maintenanceToolScript()),
            std::move(filter),
            checkStandardStreams(options.standard, options.size),
            makePipe(),
            makePipe(),
            {kBubblewrap, binEntries(options), paths.copies(), paths.bound(), options.size, geteuid(),
             getegid(), options.mode == SandboxMode::Ending}};
}

} // namespace

struct SandboxedCommand::State {
    State(const SandboxOptions& options, const std::vector<std::string>& command)
        : launch(prepare(options)),
          child(startBubblewrap(launch, options, guarded(command, options.mode))),
          // By number: C++ cannot link this glibc's pidfd_open.
          ended(static_cast<int>(syscall(SYS_pidfd_open, child, 0))) {}

    Launch launch;
    pid_t child; // -1 once it was collected
    em::UniqueFd ended;
};

SandboxedCommand::SandboxedCommand(const SandboxOptions& options, const std::vector<std::string>& command) {
    try {
        m_state = std::make_unique<State>(options, command);
    } catch (const Failure&) {
        throw;
    } catch (const std::exception& exception) {
        failWithoutSandbox(exception.what());
    }
}

SandboxedCommand::~SandboxedCommand() {
    if (m_state->child > 0) {
        kill(m_state->child, SIGKILL);
        waitpid(m_state->child, nullptr, 0);
    }
}

int SandboxedCommand::fd() const {
    return m_state->ended.get();
}

// In poll, where a caller's signal handler runs at once also under the thread sanitizer; without a descriptor
// of its end, waitpid does the waiting.
int SandboxedCommand::wait() {
    pollfd watched = {m_state->ended.get(), POLLIN, 0};
    while (watched.fd >= 0 && poll(&watched, 1, -1) < 0 && errno == EINTR) {
    }
    const int code = collect(std::exchange(m_state->child, -1));
    // Bubblewrap tells the command's exit code only when it came as far as starting it.
    if (drain(m_state->launch.status.readEnd.get()).find("\"exit-code\"") == std::string::npos &&
        code < 128) {
        failWithoutSandbox(drain(m_state->launch.errors.readEnd.get()));
    }
    return code;
}

int runInSandbox(const SandboxOptions& options, const std::vector<std::string>& command) {
    return SandboxedCommand(options, command).wait();
}

} // namespace volad_dev

#include "host/sandbox/sandbox.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "base/unique_fd.h"
#include "contract/places.h"
#include "host/common/failure.h"
#include "host/sandbox/sandbox_arguments.h"
#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

constexpr const char* kRecorderName = "volad-dev-recorder";

// Where the child finds its descriptors; the last two stay open until the command itself starts.
enum ChildFd : int { kArgumentsFd = 3, kMarkerFd, kAnswerFd, kToolFd, kStatusFd, kErrorFd, kFirstUnusedFd };
// Single digits, so that the shell can name them.
static_assert(kFirstUnusedFd < kFirstPassedFd);

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

em::UniqueFd fileInMemory(const std::string& content) {
    em::UniqueFd file(memfd_create("volad-dev", MFD_CLOEXEC));
    for (size_t done = 0; file.valid() && done < content.size();) {
        const ssize_t count = write(file.get(), content.data() + done, content.size() - done);
        if (count < 0) {
            fail("write");
        }
        done += static_cast<size_t>(count);
    }
    if (!file.valid() || lseek(file.get(), 0, SEEK_SET) != 0) {
        fail("memfd_create");
    }
    return file;
}

struct Pipe {
    em::UniqueFd readEnd, writeEnd;
};

Pipe makePipe() {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        fail("pipe2");
    }
    return {em::UniqueFd(ends[0]), em::UniqueFd(ends[1])};
}

// What the pipe holds now; nobody writes any more, though an inherited end may still be open.
std::string drain(int fd) {
    std::string text;
    std::array<char, 4096> buffer;
    static_cast<void>(fcntl(fd, F_SETFL, O_NONBLOCK)); // on failure the read ends at the last writer's end
    for (ssize_t count; (count = read(fd, buffer.data(), buffer.size())) > 0;) {
        text.append(buffer.data(), static_cast<size_t>(count));
    }
    return text;
}

std::string namespaceName(const char* kind) {
    return fs::read_symlink(std::string("/proc/self/ns/") + kind);
}

// What the guard compares with: the namespaces out here, and which file the recorder is.
std::string markerText(const std::string& recorder) {
    struct stat status = {};
    if (stat(recorder.c_str(), &status) != 0) {
        fail(recorder);
    }
    return fmt::format("{}\n{}\n{}:{}\n", namespaceName("pid"), namespaceName("mnt"), status.st_dev,
                       status.st_ino);
}

std::vector<std::string> namesOfBin() {
    std::vector<std::string> names;
    for (const fs::directory_entry& entry : fs::directory_iterator("/usr/bin")) {
        names.push_back(entry.path().filename());
    }
    // The real service manager never comes in.
    std::erase(names, fs::path(layout::kServiceManager).filename());
    return names;
}

std::string joined(const std::vector<std::string>& arguments) {
    std::string text;
    for (const std::string& argument : arguments) {
        text.append(argument).push_back('\0');
    }
    return text;
}

// The command of bubblewrap: a shell that gives the command its own standard error back and becomes it.
std::vector<std::string> commandLine(const std::vector<std::string>& command) {
    std::vector<std::string> line = {
        "bwrap",
        "--args",
        std::to_string(kArgumentsFd),
        "--json-status-fd",
        std::to_string(kStatusFd),
        em::place::kShell,
        "-c",
        fmt::format("exec \"$@\" 2>&{0} {0}>&- {1}>&-", int{kErrorFd}, int{kStatusFd}),
        "sh"};
    line.insert(line.end(), command.begin(), command.end());
    std::string& program = line[line.size() - command.size()];
    if (program.find('/') != std::string::npos) {
        program = fs::absolute(program); // the directory inside is another one
    }
    return line;
}

struct Launch {
    em::UniqueFd arguments, marker, answer, tool;
    Pipe status, errors;
};

// In the child: each descriptor goes to its place, by way of one above all places, and nothing else of the
// caller's stays open.
void placeDescriptors(const Launch& launch, const SandboxOptions& options) {
    std::vector<std::pair<int, int>> places = {{launch.arguments.get(), kArgumentsFd},
                                               {launch.marker.get(), kMarkerFd},
                                               {launch.answer.get(), kAnswerFd},
                                               {launch.tool.get(), kToolFd},
                                               {launch.status.writeEnd.get(), kStatusFd},
                                               {options.standard[0], STDIN_FILENO},
                                               {options.standard[1], STDOUT_FILENO},
                                               {options.standard[2], kErrorFd},
                                               {launch.errors.writeEnd.get(), STDERR_FILENO}};
    int next = kFirstPassedFd;
    for (const int fd : options.descriptors) {
        places.emplace_back(fd, next++);
    }
    for (auto& [fd, place] : places) {
        fd = fcntl(fd, F_DUPFD, next);
    }
    for (const auto& [fd, place] : places) {
        dup2(fd, place);
    }
    close_range(static_cast<unsigned>(next), ~0U, 0);
    close_range(kFirstUnusedFd, kFirstPassedFd - 1, 0);
}

// What the caller ignores or blocks would pass down to all that runs inside.
void resetSignals() {
    for (int number = 1; number < NSIG; ++number) {
        signal(number, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void becomeBubblewrap(const Launch& launch, const SandboxOptions& options, char* const argv[]) {
    placeDescriptors(launch, options);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (options.defaultSignals) {
        resetSignals();
    }
    if (options.ownSession) {
        setsid();
    }
    execvp(argv[0], argv);
    dprintf(STDERR_FILENO, "bwrap: %s (Debian package bubblewrap)\n", strerrordesc_np(errno));
    _exit(127);
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
    throw Failure(
        fmt::format("no sandbox: {}; needed are bubblewrap and user namespaces (sysctl "
                    "kernel.unprivileged_userns_clone=1, user.max_user_namespaces>0; in a container also "
                    "--security-opt seccomp=unconfined --security-opt systempaths=unconfined)",
                    reason),
        kExitNoSandbox);
}

Launch prepare(const SandboxOptions& options) {
    const fs::path directory = fs::read_symlink("/proc/self/exe").parent_path();
    const std::string recorder = directory / kRecorderName;
    const std::vector<std::string> arguments = sandboxArguments(
        options, directory, recorder, {kMarkerFd, kAnswerFd, kToolFd}, namesOfBin(), environ);
    return {fileInMemory(joined(arguments)),
            fileInMemory(markerText(recorder)),
            fileInMemory(maintenanceAnswer(options.maintenance)),
            fileInMemory(maintenanceToolScript()),
            makePipe(),
            makePipe()};
}

pid_t start(const Launch& launch, const SandboxOptions& options, const std::vector<std::string>& command) {
    std::vector<std::string> line = commandLine(command);
    const std::vector<char*> argv = pointers(line);
    const pid_t child = fork();
    if (child < 0) {
        fail("fork");
    }
    if (child == 0) {
        becomeBubblewrap(launch, options, argv.data());
    }
    return child;
}

} // namespace

struct SandboxedCommand::State {
    State(const SandboxOptions& options, const std::vector<std::string>& command)
        : launch(prepare(options)),
          child(start(launch, options, command)),
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

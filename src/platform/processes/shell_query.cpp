#include "platform/processes/shell_query.h"

#include <spawn.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "base/cancellation_disabled.h"
#include "base/clock.h"
#include "base/unique_fd.h"
#include "contract/places.h"
#include "platform/processes/child_process.h"

namespace em {
namespace {

constexpr uint32_t kStopLookMs = 100;    // how often the caller's stop is looked at
constexpr uint64_t kKilledEndsMs = 1000; // a killed process that takes longer hangs in the kernel

// How long a query may go on: asked for the next slice of waiting.
class Patience {
public:
    Patience(uint32_t limitMs, bool (*stopped)(void*), void* context)
        : m_limit(Deadline::in(limitMs)), m_stopped(stopped), m_context(context) {}

    // Milliseconds to wait before asking again; 0 = it is over.
    [[nodiscard]] uint32_t nextSliceMs() const {
        if (m_stopped == nullptr) {
            return std::min<uint32_t>(m_limit.remainingMs(), INT32_MAX);
        }
        return m_stopped(m_context) ? 0 : std::min(m_limit.remainingMs(), kStopLookMs);
    }

private:
    const Deadline m_limit;
    bool (*const m_stopped)(void*);
    void* const m_context;
};

// The attributes and file actions of one start.
class SpawnSetting {
public:
    SpawnSetting() : m_usable(posix_spawnattr_init(&m_attributes) == 0) {
        if (m_usable && posix_spawn_file_actions_init(&m_actions) != 0) {
            posix_spawnattr_destroy(&m_attributes);
            m_usable = false;
        }
    }
    ~SpawnSetting() {
        if (m_usable) {
            posix_spawn_file_actions_destroy(&m_actions);
            posix_spawnattr_destroy(&m_attributes);
        }
    }
    SpawnSetting(const SpawnSetting&) = delete;
    SpawnSetting& operator=(const SpawnSetting&) = delete;

    // Starts the command as leader of a new process group with that descriptor as its output.
    [[nodiscard]] bool start(const char* command, int output, pid_t& pid) {
        static char name[] = "sh";
        static char option[] = "-c";
        const std::array<char*, 4> arguments = {name, option, const_cast<char*>(command), nullptr};
        return m_usable && posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETPGROUP) == 0 &&
               posix_spawnattr_setpgroup(&m_attributes, 0) == 0 &&
               sys::posix_spawn_file_actions_adddup2(&m_actions, output, STDOUT_FILENO) == 0 &&
               sys::posix_spawn(&pid, sys::path(place::kShell), &m_actions, &m_attributes, arguments.data(),
                                environ) == 0;
    }

private:
    posix_spawnattr_t m_attributes;
    posix_spawn_file_actions_t m_actions;
    bool m_usable;
};

// The group's leader: killed with its group and collected unless its end was seen.
class GroupLeader {
public:
    explicit GroupLeader(pid_t pid) {
        m_child.pid = pid;
        m_child.pidfd.reset(sys::pidfd_open(pid));
    }
    ~GroupLeader() {
        if (m_running) {
            const CancellationDisabled whole;
            static_cast<void>(sys::kill(-m_child.pid, SIGKILL));
            static_cast<void>(waitForChild(m_child, Deadline::in(kKilledEndsMs)));
        }
    }
    GroupLeader(const GroupLeader&) = delete;
    GroupLeader& operator=(const GroupLeader&) = delete;

    // True when it was seen to end while there was patience. One that cannot be waited for was not: it may be
    // hanging, and is still to be collected.
    [[nodiscard]] bool waitForEnd(const Patience& patience) {
        ChildEnd end = ChildEnd::DeadlinePassed;
        while (end == ChildEnd::DeadlinePassed) {
            const uint32_t slice = patience.nextSliceMs();
            if (slice == 0) {
                return false;
            }
            end = waitForChild(m_child, Deadline::in(slice)).end;
        }
        m_running = end == ChildEnd::WaitFailed;
        return !m_running;
    }

private:
    ChildProcess m_child;
    bool m_running = true;
};

// False when the patience ended first; otherwise the character, or -1 at the output's end.
// One byte is all that is asked; what follows it is the tool's business.
bool readFirstCharacter(int fd, const Patience& patience, int& character) {
    pollfd readable = {.fd = fd, .events = POLLIN, .revents = 0};
    while (const uint32_t slice = patience.nextSliceMs()) {
        if (sys::poll(&readable, 1, static_cast<int>(slice)) == 0) {
            continue;
        }
        unsigned char byte = 0;
        const ssize_t got = readable.revents != 0 ? sys::read(fd, &byte, 1) : -1;
        if (got < 0 && errno == EINTR) {
            continue;
        }
        character = got == 1 ? byte : -1;
        return true;
    }
    return false;
}

} // namespace

ShellAnswer queryShell(const char* command, uint32_t limitMs, bool (*stopped)(void*), void* context) {
    std::array<int, 2> ends = {-1, -1};
    if (sys::pipe2(ends.data(), O_CLOEXEC) != 0) {
        return {ShellAnswer::End::NotStarted};
    }
    UniqueFd output(ends[0]);
    UniqueFd input(ends[1]);
    pid_t pid = -1;
    if (!SpawnSetting().start(command, input.get(), pid)) {
        return {ShellAnswer::End::NotStarted};
    }
    GroupLeader leader(pid);
    input.reset();

    const Patience patience(limitMs, stopped, context);
    ShellAnswer answer = {ShellAnswer::End::Answered};
    if (!readFirstCharacter(output.get(), patience, answer.firstCharacter)) {
        return {ShellAnswer::End::CutShort};
    }
    // The leader is waited for even so: a query that returned early would leave its process to the host.
    output.reset(); // a tool that writes on shall not wait for a reader
    return leader.waitForEnd(patience) ? answer : ShellAnswer{ShellAnswer::End::CutShort};
}

} // namespace em

// A machine on which one thread runs at a time and time passes only when none can: sleeps and waits cost
// nothing, and the same choices make the same run. Threads change places where one waits, and wherever a
// test calls yield(). No program ever runs: a command's text is taken from its exec, and the test says how
// long it lasts.
// Why: docs/decisions/simulated-machine.md
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "base/machine.h"
#include "simulation/one_processor.h"
#include "support/turn.h"

namespace em::test {

// What the maintenance tool does: writes its first character (0 = it ends without a word), then ends.
struct ToolRun {
    char first;
    int64_t saysAfterMs;
    int64_t endsAfterMs;
};

// What another program does; `collected`: whoever starts it has to wait for it.
struct ProgramRun {
    int64_t lastsMs;
    bool collected;
};

class SimulatedMachine final : public fake::Machine {
public:
    struct World {
        std::function<ToolRun()> tool; // at each start of the tool
        // Of each other child, without a command where it could not be executed.
        std::function<ProgramRun(const std::string& command)> program;
        std::function<size_t(size_t)> choose;              // which of so many threads runs next
        std::function<void(const std::string& why)> stuck; // no thread can ever run again
        bool childrenCollectedElsewhere = false;           // as by a host that ignores SIGCHLD
    };

    // The calling thread is the machine's first.
    explicit SimulatedMachine(World world);
    ~SimulatedMachine() override;

    [[nodiscard]] int64_t nowMs() const { return m_nowNs / kNsPerMs; }
    // A thread of the host, from that moment on.
    void spawn(std::function<void()> body, int64_t atMs);
    // Another thread may run now; with `newest` the one that was spawned last does.
    void yield(bool newest = false);
    void sleepUntilMs(int64_t atMs);
    [[nodiscard]] bool hostThreadsEnded() const;
    // Empty when every thread has ended and was joined and every program that had to be was collected.
    [[nodiscard]] std::string leftBehind() const;

    pid_t fork() override;
    int clone(int (*routine)(void*), void* stackTop, int flags, void* argument, int* pidfd) override;
    int execv(const char* path, char* const* arguments) override;
    int pidfd_open(pid_t pid) override;
    int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                    const posix_spawnattr_t* attributes, char* const* arguments,
                    char* const* environment) override;
    pid_t waitpid(pid_t pid, int* status, int options) override;
    int kill(pid_t pid, int signal) override;
    int pipe2(int* ends, int flags) override;
    int poll(pollfd* fds, nfds_t count, int timeoutMs) override;
    time_t time() override;
    int clock_gettime(clockid_t clock, timespec* now) override;
    int clock_nanosleep(clockid_t clock, int flags, const timespec* request, timespec* remaining) override;
    int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                       void* argument) override;
    int pthread_join(pthread_t thread, void** value) override;
    int pthread_getschedparam(pthread_t thread, int* policy, sched_param* parameter) override;
    int pthread_mutex_lock(pthread_mutex_t* mutex) override;
    int pthread_cond_signal(pthread_cond_t* condition) override;
    int pthread_cond_broadcast(pthread_cond_t* condition) override;
    int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) override;
    int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                               const timespec* deadline) override;

private:
    static constexpr int64_t kNsPerMs = 1'000'000;
    static constexpr int64_t kNever = INT64_MAX;

    struct Thread {
        enum class Waits { ForNothing, ForTime, ForCondition, ForMutex, ForEnd };

        SimulatedMachine* machine = nullptr;
        std::function<void*()> body;
        Turn turn;
        Waits waits = Waits::ForNothing;
        int64_t wakeNs = kNever;
        const void* condition = nullptr;
        bool signalled = false;
        uint64_t triedAt = 0; // the progress at which the mutex was found taken
        const Thread* awaited = nullptr;
        bool ended = false;
        bool joined = false;
        void* value = nullptr;
        pthread_t handle{};
        std::thread ofHost; // of spawn() only
    };
    struct Program {
        int64_t endsNs = 0;
        int64_t saysNs = kNever; // of a tool
        char first = 0;
        int output = -1;        // the tool's end of the pipe
        bool collected = false; // is to be
    };

    static void* runThread(void* thread);
    Thread& addThread(std::function<void*()> body);
    [[nodiscard]] bool canRun(const Thread& thread) const;
    Thread& next();
    void switchAway();
    void waitUntil(int64_t wakeNs);
    int waitOn(const pthread_cond_t* condition, pthread_mutex_t* mutex, int64_t wakeNs);
    int wake(const pthread_cond_t* condition, bool all);
    Thread* unjoined(pthread_t handle);
    pid_t add(Program program);
    pid_t startedCommand();
    static void closeOutput(Program& program);
    int64_t eventOf(int fd);
    void speak(int fd);

    const OneProcessor m_processor;
    const World m_world;
    std::vector<std::unique_ptr<Thread>> m_threads;
    Thread* m_running;
    std::vector<Thread*> m_ready;
    int64_t m_nowNs = 1'000'000 * kNsPerMs;
    uint64_t m_progress = 0;
    uint64_t m_switches = 0;
    char* const m_command; // shared with a child: what it would have become
    std::map<pid_t, Program> m_programs;
    std::map<int, pid_t> m_pidfds;
    std::map<int, pid_t> m_outputs;
    int m_pipe[2] = {-1, -1};
    pid_t m_lastPid = 1'000'000'000;
};

} // namespace em::test

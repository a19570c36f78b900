#include "simulation/simulated_machine.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace em::test {
namespace {

constexpr size_t kLongestCommand = 4096;
constexpr uint64_t kMostSwitches = 5'000'000;
constexpr int64_t kNsPerSecond = 1'000'000'000;
constexpr time_t kWallClockAtStart = 1'772'487'000; // 2 March 2026, a Monday, 21:30 UTC

int64_t nanoseconds(const timespec& time) {
    return time.tv_sec * kNsPerSecond + time.tv_nsec;
}

char* sharedPage() {
    void* const page =
        ::mmap(nullptr, kLongestCommand, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    return page == MAP_FAILED ? nullptr : static_cast<char*>(page);
}

} // namespace

SimulatedMachine::SimulatedMachine(World world)
    : m_world(std::move(world)), m_running(&addThread(nullptr)), m_command(sharedPage()) {
    fake::setMachine(this);
}

SimulatedMachine::~SimulatedMachine() {
    for (const auto& thread : m_threads) {
        if (thread->ofHost.joinable()) {
            thread->ofHost.join();
        }
    }
    for (auto& [pid, program] : m_programs) {
        closeOutput(program);
    }
    fake::setMachine(nullptr);
    ::munmap(m_command, kLongestCommand);
}

// Threads. Whoever runs has the machine for itself; it gives it away in switchAway() and at its end.

SimulatedMachine::Thread& SimulatedMachine::addThread(std::function<void*()> body) {
    Thread& thread = *m_threads.emplace_back(std::make_unique<Thread>());
    thread.machine = this;
    thread.body = std::move(body);
    return thread;
}

void* SimulatedMachine::runThread(void* thread) {
    Thread& self = *static_cast<Thread*>(thread);
    self.turn.acquire();
    self.value = self.body();
    void* const value = self.value;
    self.ended = true;
    Thread& next = self.machine->next();
    self.machine->m_running = &next;
    next.turn.release(); // nothing of the machine is touched behind this
    return value;
}

bool SimulatedMachine::canRun(const Thread& thread) const {
    if (thread.ended) {
        return false;
    }
    switch (thread.waits) {
    case Thread::Waits::ForNothing:
        return true;
    case Thread::Waits::ForTime:
        return m_nowNs >= thread.wakeNs;
    case Thread::Waits::ForCondition:
        return thread.signalled || m_nowNs >= thread.wakeNs;
    case Thread::Waits::ForMutex:
        return thread.triedAt != m_progress;
    case Thread::Waits::ForEnd:
        return thread.awaited->ended;
    }
    return false;
}

SimulatedMachine::Thread& SimulatedMachine::next() {
    if (++m_switches > kMostSwitches) {
        m_world.stuck("goes on without end");
    }
    for (;;) {
        m_ready.clear();
        int64_t wakeNs = kNever;
        for (const auto& thread : m_threads) {
            if (canRun(*thread)) {
                m_ready.push_back(thread.get());
            } else if (!thread->ended && (thread->waits == Thread::Waits::ForTime ||
                                          thread->waits == Thread::Waits::ForCondition)) {
                wakeNs = std::min(wakeNs, thread->wakeNs);
            }
        }
        if (!m_ready.empty()) {
            break;
        }
        if (wakeNs == kNever) {
            m_world.stuck("no thread can ever run again");
        }
        m_nowNs = wakeNs;
    }
    Thread& chosen = *m_ready[m_ready.size() == 1 ? 0 : m_world.choose(m_ready.size())];
    if (chosen.waits != Thread::Waits::ForMutex) {
        ++m_progress;
    }
    return chosen;
}

void SimulatedMachine::switchAway() {
    Thread& self = *m_running;
    Thread& next = this->next();
    if (&next != &self) {
        m_running = &next;
        next.turn.release();
        self.turn.acquire();
    }
    self.waits = Thread::Waits::ForNothing;
}

void SimulatedMachine::spawn(std::function<void()> body, int64_t atMs) {
    Thread& thread = addThread([body = std::move(body)]() -> void* {
        body();
        return nullptr;
    });
    thread.waits = Thread::Waits::ForTime;
    thread.wakeNs = atMs * kNsPerMs;
    thread.ofHost = std::thread([&thread] { runThread(&thread); });
}

void SimulatedMachine::yield(bool newest) {
    if (!newest) {
        switchAway();
        return;
    }
    Thread& self = *m_running;
    Thread& next = *m_threads.back();
    ++m_progress;
    m_running = &next;
    next.turn.release();
    self.turn.acquire();
}

void SimulatedMachine::waitUntil(int64_t wakeNs) {
    m_running->waits = Thread::Waits::ForTime;
    m_running->wakeNs = wakeNs;
    switchAway();
}

void SimulatedMachine::sleepUntilMs(int64_t atMs) {
    waitUntil(atMs * kNsPerMs);
}

bool SimulatedMachine::hostThreadsEnded() const {
    return std::all_of(m_threads.begin(), m_threads.end(),
                       [](const auto& thread) { return thread->ended || !thread->ofHost.joinable(); });
}

std::string SimulatedMachine::leftBehind() const {
    std::string left;
    for (const auto& thread : m_threads) {
        const bool ofModule = thread->handle != pthread_t{};
        left += ofModule && !thread->ended ? "a thread runs; " : "";
        left += ofModule && !thread->joined ? "a thread was not joined; " : "";
    }
    for (const auto& [pid, program] : m_programs) {
        left += program.collected ? "a child was not collected; " : "";
    }
    return left;
}

int SimulatedMachine::pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                                     void* (*routine)(void*), void* argument) {
    Thread& added = addThread([routine, argument] { return routine(argument); });
    const int error = ::pthread_create(thread, attributes, &runThread, &added);
    if (error != 0) {
        m_threads.pop_back();
        return error;
    }
    added.handle = *thread;
    return 0;
}

SimulatedMachine::Thread* SimulatedMachine::unjoined(pthread_t handle) {
    const auto found = std::find_if(m_threads.begin(), m_threads.end(), [handle](const auto& thread) {
        return thread->handle == handle && !thread->joined;
    });
    return found == m_threads.end() ? nullptr : found->get();
}

int SimulatedMachine::pthread_join(pthread_t thread, void** value) {
    Thread* const joined = unjoined(thread);
    if (joined == nullptr || joined == m_running) {
        return joined == nullptr ? ESRCH : EDEADLK;
    }
    if (!joined->ended) {
        m_running->waits = Thread::Waits::ForEnd;
        m_running->awaited = joined;
        switchAway();
    }
    joined->joined = true;
    return ::pthread_join(thread, value);
}

int SimulatedMachine::pthread_getschedparam(pthread_t thread, int* policy, sched_param* parameter) {
    const Thread* const asked = unjoined(thread);
    return asked == nullptr || asked->ended ? ESRCH : ::pthread_getschedparam(thread, policy, parameter);
}

int SimulatedMachine::pthread_mutex_lock(pthread_mutex_t* mutex) {
    int error = ::pthread_mutex_trylock(mutex);
    while (error == EBUSY) {
        m_running->waits = Thread::Waits::ForMutex;
        m_running->triedAt = m_progress;
        switchAway();
        error = ::pthread_mutex_trylock(mutex);
        m_progress += error == 0 ? 1 : 0;
    }
    return error;
}

int SimulatedMachine::waitOn(const pthread_cond_t* condition, pthread_mutex_t* mutex, int64_t wakeNs) {
    Thread& self = *m_running;
    self.waits = Thread::Waits::ForCondition;
    self.condition = condition;
    self.signalled = false;
    self.wakeNs = wakeNs;
    ::pthread_mutex_unlock(mutex);
    switchAway();
    self.condition = nullptr;
    static_cast<void>(pthread_mutex_lock(mutex));
    return self.signalled ? 0 : ETIMEDOUT;
}

int SimulatedMachine::wake(const pthread_cond_t* condition, bool all) {
    for (const auto& thread : m_threads) {
        if (thread->condition == condition && !thread->signalled) {
            thread->signalled = true;
            if (!all) {
                break;
            }
        }
    }
    return 0;
}

int SimulatedMachine::pthread_cond_signal(pthread_cond_t* condition) {
    return wake(condition, false);
}
int SimulatedMachine::pthread_cond_broadcast(pthread_cond_t* condition) {
    return wake(condition, true);
}
int SimulatedMachine::pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    return waitOn(condition, mutex, kNever);
}
int SimulatedMachine::pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                             const timespec* deadline) {
    return waitOn(condition, mutex, nanoseconds(*deadline));
}

// Clocks.

time_t SimulatedMachine::time() {
    return kWallClockAtStart + static_cast<time_t>(m_nowNs / kNsPerSecond - 1000);
}

int SimulatedMachine::clock_gettime(clockid_t clock, timespec* now) {
    if (clock != CLOCK_MONOTONIC) {
        return ::clock_gettime(clock, now);
    }
    *now = {m_nowNs / kNsPerSecond, m_nowNs % kNsPerSecond};
    return 0;
}

int SimulatedMachine::clock_nanosleep(clockid_t /*clock*/, int /*flags*/, const timespec* request,
                                      timespec* /*remaining*/) {
    waitUntil(m_nowNs + nanoseconds(*request));
    return 0;
}

// Programs. A child is made, and ends where it would have become another program.

pid_t SimulatedMachine::add(Program program) {
    m_programs[++m_lastPid] = program;
    return m_lastPid;
}

pid_t SimulatedMachine::startedCommand() {
    const std::string command = m_command;
    m_command[0] = '\0';
    const ProgramRun run = m_world.program(command);
    return add({.endsNs = m_nowNs + run.lastsMs * kNsPerMs, .collected = run.collected});
}

pid_t SimulatedMachine::fork() {
    const pid_t child = ::fork();
    if (child <= 0) {
        return child;
    }
    ::waitpid(child, nullptr, 0);
    return startedCommand();
}

int SimulatedMachine::clone(int (*routine)(void*), void* stackTop, int flags, void* argument, int* pidfd) {
    const pid_t child = ::clone(routine, stackTop, flags, argument, pidfd);
    if (child < 0) {
        return child;
    }
    ::waitpid(child, nullptr, 0);
    const pid_t pid = startedCommand();
    m_pidfds[*pidfd] = pid;
    return pid;
}

// In the child.
int SimulatedMachine::execv(const char* /*path*/, char* const* arguments) {
    ::strncpy(m_command, arguments[2], kLongestCommand - 1);
    ::_exit(0);
}

int SimulatedMachine::pidfd_open(pid_t pid) {
    const int fd = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    m_pidfds[fd] = pid;
    return fd;
}

int SimulatedMachine::pipe2(int* ends, int flags) {
    const int result = ::pipe2(ends, flags);
    std::copy_n(ends, 2, m_pipe);
    return result;
}

int SimulatedMachine::posix_spawn(pid_t* pid, const char* /*path*/,
                                  const posix_spawn_file_actions_t* /*actions*/,
                                  const posix_spawnattr_t* /*attributes*/, char* const* /*arguments*/,
                                  char* const* /*environment*/) {
    const int readEnd = m_pipe[0]; // others may make pipes while the test is asked
    const int output = ::fcntl(m_pipe[1], F_DUPFD_CLOEXEC, 0);
    const ToolRun run = m_world.tool();
    *pid = add({.endsNs = m_nowNs + run.endsAfterMs * kNsPerMs,
                .saysNs = run.first != 0 ? m_nowNs + run.saysAfterMs * kNsPerMs : kNever,
                .first = run.first,
                .output = output,
                .collected = true});
    m_outputs[readEnd] = *pid;
    m_pidfds.erase(readEnd);
    return 0;
}

void SimulatedMachine::closeOutput(Program& program) {
    if (program.output >= 0) {
        ::close(program.output);
        program.output = -1;
    }
}

pid_t SimulatedMachine::waitpid(pid_t pid, int* /*status*/, int /*options*/) {
    const auto found = m_programs.find(pid);
    if (found == m_programs.end()) {
        errno = ECHILD;
        return -1;
    }
    if (m_nowNs < found->second.endsNs) {
        return 0;
    }
    closeOutput(found->second);
    m_programs.erase(found);
    errno = ECHILD;
    return m_world.childrenCollectedElsewhere ? -1 : pid;
}

int SimulatedMachine::kill(pid_t pid, int /*signal*/) {
    const auto found = m_programs.find(std::abs(pid));
    if (found != m_programs.end()) {
        found->second.endsNs = std::min(found->second.endsNs, m_nowNs);
    }
    return 0;
}

// When the descriptor has something to tell.
int64_t SimulatedMachine::eventOf(int fd) {
    const auto ended = m_pidfds.find(fd);
    const auto output = m_outputs.find(fd);
    const auto program = m_programs.find(ended != m_pidfds.end()     ? ended->second
                                         : output != m_outputs.end() ? output->second
                                                                     : 0);
    if (program == m_programs.end()) {
        return m_nowNs;
    }
    return ended != m_pidfds.end() ? program->second.endsNs
                                   : std::min(program->second.saysNs, program->second.endsNs);
}

// What the tool has written by now is in the pipe.
void SimulatedMachine::speak(int fd) {
    const auto output = m_outputs.find(fd);
    const auto program = m_programs.find(output != m_outputs.end() ? output->second : 0);
    if (program == m_programs.end() || m_pidfds.contains(fd)) {
        return;
    }
    Program& tool = program->second;
    if (tool.output >= 0 && tool.saysNs <= std::min(m_nowNs, tool.endsNs)) {
        tool.saysNs = kNever;
        static_cast<void>(::write(tool.output, &tool.first, 1) == 1);
    }
    if (tool.endsNs <= m_nowNs) {
        closeOutput(tool);
    }
}

int SimulatedMachine::poll(pollfd* fds, nfds_t /*count*/, int timeoutMs) {
    const int64_t end = timeoutMs < 0 ? kNever : m_nowNs + int64_t{timeoutMs} * kNsPerMs;
    if (eventOf(fds->fd) > m_nowNs) {
        waitUntil(std::min(end, eventOf(fds->fd)));
    }
    const bool told = eventOf(fds->fd) <= m_nowNs;
    if (told) {
        speak(fds->fd);
    }
    fds->revents = told ? POLLIN : 0;
    return told ? 1 : 0;
}

} // namespace em::test

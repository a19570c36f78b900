#include "base/machine.h"

#include <sys/syscall.h>
#include <sys/wait.h>

#include <atomic>

#include "base/system_fake.h"

namespace em::fake {
namespace {

Machine realMachine;
std::atomic<Machine*> standIn{nullptr};

} // namespace

void setMachine(Machine* machine) {
    standIn = machine;
}

Machine& machine() {
    Machine* const other = standIn;
    return other != nullptr ? *other : realMachine;
}

pid_t Machine::fork() {
    return ::fork();
}
int Machine::clone(int (*routine)(void*), void* stackTop, int flags, void* argument, int* pidfd) {
    return ::clone(routine, stackTop, flags, argument, pidfd);
}
int Machine::execv(const char* path, char* const* arguments) {
    return ::execv(path, arguments);
}
int Machine::pidfd_open(pid_t pid) {
    return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
}
int Machine::posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                         const posix_spawnattr_t* attributes, char* const* arguments,
                         char* const* environment) {
    return ::posix_spawn(pid, path, actions, attributes, arguments, environment);
}
pid_t Machine::waitpid(pid_t pid, int* status, int options) {
    return ::waitpid(pid, status, options);
}
int Machine::kill(pid_t pid, int signal) {
    return ::kill(pid, signal);
}
int Machine::pipe2(int* ends, int flags) {
    return ::pipe2(ends, flags);
}
int Machine::poll(pollfd* fds, nfds_t count, int timeoutMs) {
    return ::poll(fds, count, timeoutMs);
}

time_t Machine::time() {
    return wallClock();
}
int Machine::clock_gettime(clockid_t clock, timespec* now) {
    return readClock(clock, now);
}
int Machine::clock_nanosleep(clockid_t clock, int flags, const timespec* request, timespec* remaining) {
    return sleep(clock, flags, request, remaining);
}

int Machine::pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                            void* argument) {
    return createThread(thread, attributes, routine, argument);
}
int Machine::pthread_join(pthread_t thread, void** value) {
    return ::pthread_join(thread, value);
}
int Machine::pthread_getschedparam(pthread_t thread, int* policy, sched_param* parameter) {
    return ::pthread_getschedparam(thread, policy, parameter);
}
int Machine::pthread_mutex_lock(pthread_mutex_t* mutex) {
    return ::pthread_mutex_lock(mutex);
}
int Machine::pthread_cond_signal(pthread_cond_t* condition) {
    return ::pthread_cond_signal(condition);
}
int Machine::pthread_cond_broadcast(pthread_cond_t* condition) {
    return ::pthread_cond_broadcast(condition);
}
int Machine::pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    return ::pthread_cond_wait(condition, mutex);
}
int Machine::pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                    const timespec* deadline) {
    return waitUntil(condition, mutex, deadline);
}

} // namespace em::fake

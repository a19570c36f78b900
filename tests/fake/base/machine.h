// The machine that the fake's calls reach: its processes, its threads and its clocks. The real one, with the
// leaps of fake::leapTime, or another that a test derives from it.
#pragma once

#include <poll.h>
#include <pthread.h>
#include <spawn.h>
#include <sys/types.h>

#include <ctime>

namespace em::fake {

class Machine {
public:
    Machine() = default;
    virtual ~Machine() = default;
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    virtual pid_t fork();
    virtual int clone(int (*routine)(void*), void* stackTop, int flags, void* argument, int* pidfd);
    virtual int execv(const char* path, char* const* arguments);
    virtual int pidfd_open(pid_t pid);
    virtual int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                            const posix_spawnattr_t* attributes, char* const* arguments,
                            char* const* environment);
    virtual pid_t waitpid(pid_t pid, int* status, int options);
    virtual int kill(pid_t pid, int signal);
    virtual int pipe2(int* ends, int flags);
    virtual int poll(pollfd* fds, nfds_t count, int timeoutMs);

    virtual time_t time();
    virtual int clock_gettime(clockid_t clock, timespec* now);
    virtual int clock_nanosleep(clockid_t clock, int flags, const timespec* request, timespec* remaining);

    virtual int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                               void* argument);
    virtual int pthread_join(pthread_t thread, void** value);
    virtual int pthread_getschedparam(pthread_t thread, int* policy, sched_param* parameter);
    virtual int pthread_mutex_lock(pthread_mutex_t* mutex);
    virtual int pthread_cond_signal(pthread_cond_t* condition);
    virtual int pthread_cond_broadcast(pthread_cond_t* condition);
    virtual int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex);
    virtual int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                       const timespec* deadline);
};

// Not owned, and left alone by reset(); null gives the real one back.
void setMachine(Machine* machine);
Machine& machine();

} // namespace em::fake

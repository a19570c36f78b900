// The system seam: everything the product asks of the kernel and libc where a test must be able to fail it or
// to see it. Each function forwards to the call of the same name and has its results and its errno; nothing
// is added, and nothing is left of it in an optimised build. Product code makes these calls through here.
// What is not here, it calls directly: what converts, unlocks, destroys or cannot fail, standard error,
// identity and cancel state of threads.
// The tests compile the product against a fake of this header (tests/fake).
// Why: docs/decisions/system-seam.md
#pragma once

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <iconv.h>
#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <syslog.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace em::sys {

// A fixed place of the machine (contract/places.h); the tests put another in its stead.
inline const char* path(const char* fixed) {
    return fixed;
}

// Memory; what comes from here is freed by ::free.
inline void* malloc(size_t size) {
    return ::malloc(size);
}
inline void* calloc(size_t count, size_t size) {
    return ::calloc(count, size);
}
inline void* realloc(void* memory, size_t size) {
    return ::realloc(memory, size);
}
inline char* strdup(const char* text) {
    return ::strdup(text);
}
// Freed by ::iconv_close.
inline iconv_t iconv_open(const char* to, const char* from) {
    return ::iconv_open(to, from);
}

// Files and directories.
inline int open(const char* path, int flags, mode_t mode = 0) {
    return ::open(path, flags, mode);
}
inline int close(int fd) {
    return ::close(fd);
}
inline ssize_t read(int fd, void* buffer, size_t size) {
    return ::read(fd, buffer, size);
}
inline ssize_t write(int fd, const void* data, size_t size) {
    return ::write(fd, data, size);
}
inline ssize_t pwrite(int fd, const void* data, size_t size, off_t at) {
    return ::pwrite(fd, data, size, at);
}
inline int fsync(int fd) {
    return ::fsync(fd);
}
inline int ftruncate(int fd, off_t size) {
    return ::ftruncate(fd, size);
}
// Returns the error number, 0 on success; errno is not set.
inline int posix_fallocate(int fd, off_t at, off_t size) {
    return ::posix_fallocate(fd, at, size);
}
inline int fchmod(int fd, mode_t mode) {
    return ::fchmod(fd, mode);
}
inline int fchown(int fd, uid_t user, gid_t group) {
    return ::fchown(fd, user, group);
}
inline int flock(int fd, int operation) {
    return ::flock(fd, operation);
}
inline int fstat(int fd, struct stat* status) {
    return ::fstat(fd, status);
}
inline ssize_t fgetxattr(int fd, const char* name, void* value, size_t size) {
    return ::fgetxattr(fd, name, value, size);
}
inline ssize_t readlinkat(int dir, const char* name, char* buffer, size_t size) {
    return ::readlinkat(dir, name, buffer, size);
}
inline int stat(const char* path, struct stat* status) {
    return ::stat(path, status);
}
inline int fstatat(int dir, const char* name, struct stat* status, int flags) {
    return ::fstatat(dir, name, status, flags);
}
inline int access(const char* path, int mode) {
    return ::access(path, mode);
}
inline int openat(int dir, const char* name, int flags, mode_t mode = 0) {
    return ::openat(dir, name, flags, mode);
}
inline int renameat(int fromDir, const char* from, int toDir, const char* to) {
    return ::renameat(fromDir, from, toDir, to);
}
// Exchanges two names (RENAME_EXCHANGE) or renames without replacing (RENAME_NOREPLACE).
inline int renameat2(int fromDir, const char* from, int toDir, const char* to, unsigned flags) {
    return ::renameat2(fromDir, from, toDir, to, flags);
}
inline int unlinkat(int dir, const char* name, int flags) {
    return ::unlinkat(dir, name, flags);
}
inline char* getcwd(char* buffer, size_t size) {
    return ::getcwd(buffer, size);
}
inline int chdir(const char* path) {
    return ::chdir(path);
}
inline DIR* opendir(const char* path) {
    return ::opendir(path);
}
inline dirent* readdir(DIR* directory) {
    return ::readdir(directory); // NOLINT(concurrency-mt-unsafe): one stream a caller
}
inline int closedir(DIR* directory) {
    return ::closedir(directory);
}

// Processes.
inline uid_t getuid() {
    return ::getuid();
}
inline uid_t geteuid() {
    return ::geteuid();
}
inline pid_t getpid() {
    return ::getpid();
}
inline char* getenv(const char* name) {
    return ::getenv(name); // NOLINT(concurrency-mt-unsafe): the host sets nothing meanwhile
}
inline pid_t fork() {
    return ::fork();
}
// clone(2) as glibc wraps it; pidfd is where CLONE_PIDFD stores the descriptor.
inline int clone(int (*routine)(void*), void* stackTop, int flags, void* argument, int* pidfd) {
    return ::clone(routine, stackTop, flags, argument, pidfd);
}
// A descriptor that becomes readable when the process ends.
inline int pidfd_open(pid_t pid) {
    return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
}
inline int posix_spawn_file_actions_adddup2(posix_spawn_file_actions_t* actions, int fd, int newFd) {
    return ::posix_spawn_file_actions_adddup2(actions, fd, newFd);
}
inline int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const argv[], char* const envp[]) {
    return ::posix_spawn(pid, path, actions, attributes, argv, envp);
}
inline pid_t waitpid(pid_t pid, int* status, int options) {
    return ::waitpid(pid, status, options);
}
inline int kill(pid_t pid, int signal) {
    return ::kill(pid, signal);
}
inline int pipe2(int fds[2], int flags) {
    return ::pipe2(fds, flags);
}
inline int poll(pollfd* fds, nfds_t count, int timeoutMs) {
    return ::poll(fds, count, timeoutMs);
}
inline long sysconf(int name) {
    return ::sysconf(name);
}
inline int close_range(unsigned first, unsigned last, int flags) {
    return ::close_range(first, last, flags);
}
inline int execv(const char* path, char* const argv[]) {
    return ::execv(path, argv);
}
[[noreturn]] inline void exitNow(int status) {
    ::_exit(status);
}
inline int pthread_sigmask(int how, const sigset_t* set, sigset_t* old) {
    return ::pthread_sigmask(how, set, old);
}
inline int sigaction(int signal, const struct sigaction* action, struct sigaction* old) {
    return ::sigaction(signal, action, old);
}

// Clocks and sleeps.
inline int clock_gettime(clockid_t clock, timespec* now) {
    return ::clock_gettime(clock, now);
}
inline time_t time() {
    return ::time(nullptr);
}
inline int clock_nanosleep(clockid_t clock, int flags, const timespec* request, timespec* remaining) {
    return ::clock_nanosleep(clock, flags, request, remaining);
}
inline int sched_yield() {
    return ::sched_yield();
}

// Threads and their parts. Each returns the error number, 0 on success.
inline int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                          void* argument) {
    return ::pthread_create(thread, attributes, routine, argument);
}
inline int pthread_join(pthread_t thread, void** value) {
    return ::pthread_join(thread, value);
}
inline int pthread_cancel(pthread_t thread) {
    return ::pthread_cancel(thread);
}
inline int pthread_getschedparam(pthread_t thread, int* policy, sched_param* parameter) {
    return ::pthread_getschedparam(thread, policy, parameter);
}
inline int pthread_attr_init(pthread_attr_t* attributes) {
    return ::pthread_attr_init(attributes);
}
inline int pthread_attr_setdetachstate(pthread_attr_t* attributes, int state) {
    return ::pthread_attr_setdetachstate(attributes, state);
}
inline int pthread_attr_setschedpolicy(pthread_attr_t* attributes, int policy) {
    return ::pthread_attr_setschedpolicy(attributes, policy);
}
inline int pthread_attr_getschedparam(const pthread_attr_t* attributes, sched_param* parameter) {
    return ::pthread_attr_getschedparam(attributes, parameter);
}
inline int pthread_attr_setschedparam(pthread_attr_t* attributes, const sched_param* parameter) {
    return ::pthread_attr_setschedparam(attributes, parameter);
}
inline int pthread_mutex_init(pthread_mutex_t* mutex) {
    return ::pthread_mutex_init(mutex, nullptr);
}
inline int pthread_mutex_lock(pthread_mutex_t* mutex) {
    return ::pthread_mutex_lock(mutex);
}
inline int pthread_condattr_setclock(pthread_condattr_t* attributes, clockid_t clock) {
    return ::pthread_condattr_setclock(attributes, clock);
}
inline int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) {
    return ::pthread_cond_init(condition, attributes);
}
inline int pthread_cond_signal(pthread_cond_t* condition) {
    return ::pthread_cond_signal(condition);
}
inline int pthread_cond_broadcast(pthread_cond_t* condition) {
    return ::pthread_cond_broadcast(condition);
}
inline int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    return ::pthread_cond_wait(condition, mutex);
}
inline int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline) {
    return ::pthread_cond_timedwait(condition, mutex, deadline);
}

// The system log and the dynamic loader.
inline void openlog(const char* identity, int options, int facility) {
    ::openlog(identity, options, facility);
}
inline void logText(int priority, const char* text) {
    ::syslog(priority, "%s", text);
}
inline void* dlsym(void* handle, const char* name) {
    return ::dlsym(handle, name);
}
inline int dladdr(const void* address, Dl_info* info) {
    return ::dladdr(address, info);
}

} // namespace em::sys

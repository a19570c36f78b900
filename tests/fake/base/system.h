// The fake system seam, first on the tests' include path. Every call can be failed by its name
// (fake::failNth), counted (fake::calls) or watched (fake::watch); some have a stand-in (the clock, the user
// id, the loader, the fixed paths). What is not scripted reaches the real system, inside the sandbox.
#pragma once

#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
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

#include "system_fake.h"

// The inline namespace keeps the fake's functions apart from the seam's in an executable that links both.
namespace em::sys {
inline namespace scripted {

inline const char* path(const char* fixed) {
    return fake::path(fixed);
}

// Memory.
inline void* malloc(size_t size) {
    return fake::fails("malloc") ? nullptr : ::malloc(size);
}
inline void* realloc(void* memory, size_t size) {
    return fake::fails("realloc") ? nullptr : ::realloc(memory, size);
}
inline char* strdup(const char* text) {
    return fake::fails("strdup") ? nullptr : ::strdup(text);
}

// Files and directories.
inline int open(const char* path, int flags, mode_t mode = 0) {
    return fake::fails("open") ? -1 : fake::files().open(path, flags, mode);
}
inline int close(int fd) {
    return fake::fails("close") ? -1 : fake::files().close(fd);
}
inline ssize_t read(int fd, void* buffer, size_t size) {
    return fake::fails("read") ? -1 : fake::files().read(fd, buffer, size);
}
inline ssize_t write(int fd, const void* data, size_t size) {
    return fake::fails("write") ? -1 : fake::files().write(fd, data, size);
}
inline ssize_t pwrite(int fd, const void* data, size_t size, off_t at) {
    return fake::fails("pwrite") ? -1 : ::pwrite(fd, data, size, at);
}
inline int fsync(int fd) {
    return fake::fails("fsync") ? -1 : fake::files().fsync(fd);
}
inline int ftruncate(int fd, off_t size) {
    return fake::fails("ftruncate") ? -1 : ::ftruncate(fd, size);
}
// Returns the error number, 0 on success; errno is not set.
inline int posix_fallocate(int fd, off_t at, off_t size) {
    const int error = fake::injected("posix_fallocate");
    return error != 0 ? error : ::posix_fallocate(fd, at, size);
}
inline int fchmod(int fd, mode_t mode) {
    return fake::fails("fchmod") ? -1 : fake::files().fchmod(fd, mode);
}
inline int fchown(int fd, uid_t user, gid_t group) {
    return fake::fails("fchown") ? -1 : ::fchown(fd, user, group);
}
inline int flock(int fd, int operation) {
    return fake::fails("flock") ? -1 : fake::files().flock(fd, operation);
}
inline int fstat(int fd, struct stat* status) {
    return fake::fails("fstat") ? -1 : fake::files().fstat(fd, status);
}
inline ssize_t fgetxattr(int fd, const char* name, void* value, size_t size) {
    return fake::fails("fgetxattr") ? -1 : ::fgetxattr(fd, name, value, size);
}
inline ssize_t readlinkat(int dir, const char* name, char* buffer, size_t size) {
    return fake::fails("readlinkat") ? -1 : ::readlinkat(dir, name, buffer, size);
}
inline int stat(const char* path, struct stat* status) {
    return fake::fails("stat") ? -1 : ::stat(path, status);
}
inline int fstatat(int dir, const char* name, struct stat* status, int flags) {
    return fake::fails("fstatat") ? -1 : fake::files().fstatat(dir, name, status, flags);
}
inline int access(const char* path, int mode) {
    return fake::fails("access") ? -1 : ::access(path, mode);
}
inline int openat(int dir, const char* name, int flags, mode_t mode = 0) {
    return fake::fails("openat") ? -1 : fake::files().openat(dir, name, flags, mode);
}
inline int renameat(int fromDir, const char* from, int toDir, const char* to) {
    return fake::fails("renameat") ? -1 : fake::files().renameat(fromDir, from, toDir, to);
}
// Exchanges two names (RENAME_EXCHANGE) or renames without replacing (RENAME_NOREPLACE).
inline int renameat2(int fromDir, const char* from, int toDir, const char* to, unsigned flags) {
    return fake::fails("renameat2") ? -1 : fake::files().renameat2(fromDir, from, toDir, to, flags);
}
inline int unlinkat(int dir, const char* name, int flags) {
    return fake::fails("unlinkat") ? -1 : fake::files().unlinkat(dir, name, flags);
}
inline char* getcwd(char* buffer, size_t size) {
    return fake::fails("getcwd") ? nullptr : ::getcwd(buffer, size);
}
inline int chdir(const char* path) {
    return fake::fails("chdir") ? -1 : ::chdir(path);
}
inline DIR* opendir(const char* path) {
    return fake::fails("opendir") ? nullptr : ::opendir(path);
}
inline dirent* readdir(DIR* directory) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): one stream a caller
    return fake::fails("readdir") ? nullptr : ::readdir(directory);
}
inline int closedir(DIR* directory) {
    return fake::fails("closedir") ? -1 : ::closedir(directory);
}

// Processes.
inline uid_t getuid() {
    return fake::userId();
}
inline uid_t geteuid() {
    return fake::userId();
}
inline pid_t getpid() {
    return ::getpid();
}
inline char* getenv(const char* name) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): nothing is set meanwhile
    return fake::fails("getenv") ? nullptr : ::getenv(name);
}
inline pid_t fork() {
    return fake::fails("fork") ? -1 : ::fork();
}
// clone(2) as glibc wraps it; pidfd is where CLONE_PIDFD stores the descriptor.
inline int clone(int (*routine)(void*), void* stackTop, int flags, void* argument, int* pidfd) {
    return fake::fails("clone") ? -1 : ::clone(routine, stackTop, flags, argument, pidfd);
}
// A descriptor that becomes readable when the process ends.
inline int pidfd_open(pid_t pid) {
    return fake::fails("pidfd_open") ? -1 : static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
}
inline int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                       const posix_spawnattr_t* attributes, char* const argv[], char* const envp[]) {
    const int error = fake::injected("posix_spawn");
    return error != 0 ? error : ::posix_spawn(pid, path, actions, attributes, argv, envp);
}
inline pid_t waitpid(pid_t pid, int* status, int options) {
    return fake::fails("waitpid") ? -1 : ::waitpid(pid, status, options);
}
inline int kill(pid_t pid, int signal) {
    return fake::fails("kill") ? -1 : ::kill(pid, signal);
}
inline int pipe2(int fds[2], int flags) {
    return fake::fails("pipe2") ? -1 : ::pipe2(fds, flags);
}
inline int poll(pollfd* fds, nfds_t count, int timeoutMs) {
    return fake::fails("poll") ? -1 : ::poll(fds, count, timeoutMs);
}
inline long sysconf(int name) {
    return fake::fails("sysconf") ? -1 : ::sysconf(name);
}
inline int close_range(unsigned first, unsigned last, int flags) {
    return fake::fails("close_range") ? -1 : ::close_range(first, last, flags);
}
inline int execv(const char* path, char* const argv[]) {
    return fake::fails("execv") ? -1 : ::execv(path, argv);
}
[[noreturn]] inline void exitNow(int status) {
    ::_exit(status);
}
inline int pthread_sigmask(int how, const sigset_t* set, sigset_t* old) {
    const int error = fake::injected("pthread_sigmask");
    return error != 0 ? error : ::pthread_sigmask(how, set, old);
}
inline int sigaction(int signal, const struct sigaction* action, struct sigaction* old) {
    return fake::fails("sigaction") ? -1 : ::sigaction(signal, action, old);
}

// Clocks and sleeps.
inline int clock_gettime(clockid_t clock, timespec* now) {
    return fake::fails("clock_gettime") ? -1 : fake::readClock(clock, now);
}
inline time_t time() {
    return fake::wallClock();
}
inline int clock_nanosleep(clockid_t clock, int flags, const timespec* request, timespec* remaining) {
    const int error = fake::injected("clock_nanosleep");
    return error != 0 ? error : fake::sleep(clock, flags, request, remaining);
}
inline int sched_yield() {
    return fake::fails("sched_yield") ? -1 : ::sched_yield();
}

// Threads and their parts. Each returns the error number, 0 on success.
inline int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                          void* argument) {
    const int error = fake::injected("pthread_create");
    return error != 0 ? error : ::pthread_create(thread, attributes, routine, argument);
}
inline int pthread_join(pthread_t thread, void** value) {
    const int error = fake::injected("pthread_join");
    return error != 0 ? error : ::pthread_join(thread, value);
}
inline int pthread_cancel(pthread_t thread) {
    const int error = fake::injected("pthread_cancel");
    return error != 0 ? error : ::pthread_cancel(thread);
}
inline int pthread_getschedparam(pthread_t thread, int* policy, sched_param* parameter) {
    const int error = fake::injected("pthread_getschedparam");
    return error != 0 ? error : ::pthread_getschedparam(thread, policy, parameter);
}
inline int pthread_attr_init(pthread_attr_t* attributes) {
    const int error = fake::injected("pthread_attr_init");
    return error != 0 ? error : ::pthread_attr_init(attributes);
}
inline int pthread_attr_setdetachstate(pthread_attr_t* attributes, int state) {
    const int error = fake::injected("pthread_attr_setdetachstate");
    return error != 0 ? error : ::pthread_attr_setdetachstate(attributes, state);
}
inline int pthread_attr_setschedpolicy(pthread_attr_t* attributes, int policy) {
    const int error = fake::injected("pthread_attr_setschedpolicy");
    return error != 0 ? error : ::pthread_attr_setschedpolicy(attributes, policy);
}
inline int pthread_attr_getschedparam(const pthread_attr_t* attributes, sched_param* parameter) {
    const int error = fake::injected("pthread_attr_getschedparam");
    return error != 0 ? error : ::pthread_attr_getschedparam(attributes, parameter);
}
inline int pthread_attr_setschedparam(pthread_attr_t* attributes, const sched_param* parameter) {
    const int error = fake::injected("pthread_attr_setschedparam");
    return error != 0 ? error : ::pthread_attr_setschedparam(attributes, parameter);
}
inline int pthread_mutex_init(pthread_mutex_t* mutex) {
    const int error = fake::injected("pthread_mutex_init");
    return error != 0 ? error : ::pthread_mutex_init(mutex, nullptr);
}
inline int pthread_mutex_lock(pthread_mutex_t* mutex) {
    const int error = fake::injected("pthread_mutex_lock");
    return error != 0 ? error : ::pthread_mutex_lock(mutex);
}
inline int pthread_condattr_setclock(pthread_condattr_t* attributes, clockid_t clock) {
    const int error = fake::injected("pthread_condattr_setclock");
    return error != 0 ? error : ::pthread_condattr_setclock(attributes, clock);
}
inline int pthread_cond_init(pthread_cond_t* condition, const pthread_condattr_t* attributes) {
    const int error = fake::injected("pthread_cond_init");
    return error != 0 ? error : ::pthread_cond_init(condition, attributes);
}
inline int pthread_cond_signal(pthread_cond_t* condition) {
    const int error = fake::injected("pthread_cond_signal");
    return error != 0 ? error : ::pthread_cond_signal(condition);
}
inline int pthread_cond_broadcast(pthread_cond_t* condition) {
    const int error = fake::injected("pthread_cond_broadcast");
    return error != 0 ? error : ::pthread_cond_broadcast(condition);
}
inline int pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    const int error = fake::injected("pthread_cond_wait");
    return error != 0 ? error : ::pthread_cond_wait(condition, mutex);
}
inline int pthread_cond_timedwait(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                  const timespec* deadline) {
    const int error = fake::injected("pthread_cond_timedwait");
    return error != 0 ? error : fake::waitUntil(condition, mutex, deadline);
}

// The system log and the dynamic loader.
inline void openlog(const char* identity, int options, int facility) {
    fake::openLog(identity, options, facility);
}
inline void logText(int priority, const char* text) {
    fake::logText(priority, text);
}
inline void* dlsym(void* handle, const char* name) {
    return fake::findSymbol(handle, name);
}
inline int dladdr(const void* address, Dl_info* info) {
    return fake::findObject(address, info);
}

} // namespace scripted
} // namespace em::sys

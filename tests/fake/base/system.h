// The fake system seam, first on the tests' include path. Every call can be failed by its name
// (fake::failNth), counted (fake::calls) or watched (fake::watch); some have a stand-in (the clock, the user
// id, the loader, the fixed paths). What is not scripted reaches the real system, inside the sandbox.
#pragma once

#include <dirent.h>
#include <iconv.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <syslog.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "machine.h"
#include "system_fake.h"

// The inline namespace keeps the fake's calls apart from the seam's in an executable that links both.
namespace em::sys {
inline namespace scripted {

// A call under its name: it fails as the script says, or goes on to the real one. None of these allocates, so
// that a child between fork and exec may make them.
//
// With errno, and -1 or a null pointer where it fails.
template <class Result, class... Arguments>
constexpr auto call(const char* name, Result (*real)(Arguments...)) {
    return [=](Arguments... its) { return fake::fails(name) ? Result{-1} : real(its...); };
}
template <class Object, class... Arguments>
constexpr auto call(const char* name, Object* (*real)(Arguments...)) {
    return [=](Arguments... its) { return fake::fails(name) ? nullptr : real(its...); };
}
// The same, on the file system that the test has put in the real one's place.
template <class Result, class... Arguments>
constexpr auto call(const char* name, Result (fake::Files::*real)(Arguments...)) {
    return [=](Arguments... its) { return fake::fails(name) ? Result{-1} : (fake::files().*real)(its...); };
}
// The same, on the machine that the test has put in the real one's place.
template <class Result, class... Arguments>
constexpr auto call(const char* name, Result (fake::Machine::*real)(Arguments...)) {
    return [=](Arguments... its) { return fake::fails(name) ? Result{-1} : (fake::machine().*real)(its...); };
}
// Gives the error number, 0 on success; errno is not set.
template <class... Arguments>
constexpr auto errorCall(const char* name, int (*real)(Arguments...)) {
    return [=](Arguments... its) {
        const int error = fake::injected(name);
        return error == 0 ? real(its...) : error == fake::kStray ? 0 : error;
    };
}
template <class... Arguments>
constexpr auto errorCall(const char* name, int (fake::Machine::*real)(Arguments...)) {
    return [=](Arguments... its) {
        const int error = fake::injected(name);
        return error == 0 ? (fake::machine().*real)(its...) : error == fake::kStray ? 0 : error;
    };
}
// Moves bytes, and may move half of them only.
template <class Call>
ssize_t transfer(const char* name, size_t size, Call&& real) {
    const int error = fake::injected(name);
    if (error == 0 || error == fake::kShort) {
        return real(error == 0 ? size : (size + 1) / 2);
    }
    errno = error;
    return -1;
}
// Done also where it fails.
template <class Call>
auto doneAlso(const char* name, Call&& real) {
    const int error = fake::injected(name);
    const auto result = real();
    if (error == 0) {
        return result;
    }
    errno = error;
    return decltype(result){-1};
}

inline constexpr auto path = &fake::path;

// Memory.
inline constexpr auto malloc = call("malloc", ::malloc);
inline constexpr auto realloc = call("realloc", ::realloc);
inline constexpr auto calloc = call("calloc", ::calloc);
inline constexpr auto strdup = call("strdup", ::strdup);
inline iconv_t iconv_open(const char* to, const char* from) {
    // Its failure is (iconv_t)-1.
    return fake::fails("iconv_open") ? reinterpret_cast<iconv_t>(-1) // NOLINT(performance-no-int-to-ptr)
                                     : ::iconv_open(to, from);
}

// Files and directories.
inline int open(const char* name, int flags, mode_t mode = 0) {
    return call("open", &fake::Files::open)(name, flags, mode);
}
inline int openat(int dir, const char* name, int flags, mode_t mode = 0) {
    return call("openat", &fake::Files::openat)(dir, name, flags, mode);
}
// The kernel takes a descriptor back before it tells of a lost write.
inline int close(int fd) {
    return doneAlso("close", [=] { return fake::files().close(fd); });
}
inline ssize_t read(int fd, void* buffer, size_t size) {
    return transfer("read", size, [=](size_t count) { return fake::files().read(fd, buffer, count); });
}
inline ssize_t write(int fd, const void* data, size_t size) {
    return transfer("write", size, [=](size_t count) { return fake::files().write(fd, data, count); });
}
inline ssize_t pwrite(int fd, const void* data, size_t size, off_t at) {
    return transfer("pwrite", size, [=](size_t count) { return ::pwrite(fd, data, count, at); });
}
inline constexpr auto fsync = call("fsync", &fake::Files::fsync);
inline constexpr auto fchmod = call("fchmod", &fake::Files::fchmod);
inline constexpr auto flock = call("flock", &fake::Files::flock);
inline constexpr auto fstat = call("fstat", &fake::Files::fstat);
inline constexpr auto fstatat = call("fstatat", &fake::Files::fstatat);
inline constexpr auto renameat = call("renameat", &fake::Files::renameat);
inline constexpr auto renameat2 = call("renameat2", &fake::Files::renameat2);
inline constexpr auto unlinkat = call("unlinkat", &fake::Files::unlinkat);
inline constexpr auto ftruncate = call("ftruncate", ::ftruncate);
inline constexpr auto fchown = call("fchown", ::fchown);
inline constexpr auto fgetxattr = call("fgetxattr", ::fgetxattr);
inline constexpr auto readlinkat = call("readlinkat", ::readlinkat);
inline constexpr auto stat = call("stat", ::stat);
inline constexpr auto access = call("access", ::access);
inline constexpr auto getcwd = call("getcwd", ::getcwd);
inline constexpr auto chdir = call("chdir", ::chdir);
inline constexpr auto opendir = call("opendir", ::opendir);
inline constexpr auto readdir = call("readdir", ::readdir);
inline int closedir(DIR* directory) {
    return doneAlso("closedir", [=] { return ::closedir(directory); });
}
inline constexpr auto posix_fallocate = errorCall("posix_fallocate", ::posix_fallocate);

// Processes.
inline constexpr auto getuid = &fake::userId;
inline constexpr auto geteuid = &fake::userId;
inline constexpr auto getpid = &::getpid;
inline constexpr auto getenv = call("getenv", ::getenv);
inline constexpr auto fork = call("fork", &fake::Machine::fork);
inline constexpr auto clone = call("clone", &fake::Machine::clone);
inline constexpr auto pidfd_open = call("pidfd_open", &fake::Machine::pidfd_open);
// A child that is nobody's any more has been collected by somebody.
inline pid_t waitpid(pid_t pid, int* status, int options) {
    const int error = fake::injected("waitpid");
    if (error == 0) {
        return fake::machine().waitpid(pid, status, options);
    }
    if (error == ECHILD) {
        fake::machine().waitpid(pid, nullptr, 0);
    }
    errno = error;
    return -1;
}
inline constexpr auto kill = call("kill", &fake::Machine::kill);
inline constexpr auto pipe2 = call("pipe2", &fake::Machine::pipe2);
inline constexpr auto poll = call("poll", &fake::Machine::poll);
inline constexpr auto sysconf = call("sysconf", ::sysconf);
inline constexpr auto close_range = call("close_range", ::close_range);
inline constexpr auto execv = call("execv", &fake::Machine::execv);
inline constexpr auto sigaction = call("sigaction", ::sigaction);
inline constexpr auto posix_spawn_file_actions_adddup2 =
    errorCall("posix_spawn_file_actions_adddup2", ::posix_spawn_file_actions_adddup2);
inline constexpr auto posix_spawn = errorCall("posix_spawn", &fake::Machine::posix_spawn);
inline constexpr auto pthread_sigmask = errorCall("pthread_sigmask", ::pthread_sigmask);
[[noreturn]] inline void exitNow(int status) {
    ::_exit(status);
}

// Clocks and sleeps.
inline constexpr auto clock_gettime = call("clock_gettime", &fake::Machine::clock_gettime);
inline constexpr auto clock_nanosleep = errorCall("clock_nanosleep", &fake::Machine::clock_nanosleep);
inline constexpr auto sched_yield = call("sched_yield", ::sched_yield);
inline time_t time() {
    return fake::machine().time();
}

// Threads and their parts.
inline constexpr auto pthread_create = errorCall("pthread_create", &fake::Machine::pthread_create);
inline constexpr auto pthread_join = errorCall("pthread_join", &fake::Machine::pthread_join);
inline constexpr auto pthread_cancel = errorCall("pthread_cancel", ::pthread_cancel);
inline constexpr auto pthread_getschedparam =
    errorCall("pthread_getschedparam", &fake::Machine::pthread_getschedparam);
inline constexpr auto pthread_attr_init = errorCall("pthread_attr_init", ::pthread_attr_init);
inline constexpr auto pthread_attr_setdetachstate =
    errorCall("pthread_attr_setdetachstate", ::pthread_attr_setdetachstate);
inline constexpr auto pthread_attr_setschedpolicy =
    errorCall("pthread_attr_setschedpolicy", ::pthread_attr_setschedpolicy);
inline constexpr auto pthread_attr_getschedparam =
    errorCall("pthread_attr_getschedparam", ::pthread_attr_getschedparam);
inline constexpr auto pthread_attr_setschedparam =
    errorCall("pthread_attr_setschedparam", ::pthread_attr_setschedparam);
inline constexpr auto pthread_mutex_init = errorCall(
    "pthread_mutex_init", +[](pthread_mutex_t* mutex) { return ::pthread_mutex_init(mutex, nullptr); });
inline constexpr auto pthread_mutex_lock =
    errorCall("pthread_mutex_lock", &fake::Machine::pthread_mutex_lock);
inline constexpr auto pthread_condattr_setclock =
    errorCall("pthread_condattr_setclock", ::pthread_condattr_setclock);
inline constexpr auto pthread_cond_init = errorCall("pthread_cond_init", ::pthread_cond_init);
inline constexpr auto pthread_cond_signal =
    errorCall("pthread_cond_signal", &fake::Machine::pthread_cond_signal);
inline constexpr auto pthread_cond_broadcast =
    errorCall("pthread_cond_broadcast", &fake::Machine::pthread_cond_broadcast);
inline constexpr auto pthread_cond_wait = errorCall("pthread_cond_wait", &fake::Machine::pthread_cond_wait);
inline constexpr auto pthread_cond_timedwait =
    errorCall("pthread_cond_timedwait", &fake::Machine::pthread_cond_timedwait);

// The system log and the dynamic loader.
inline constexpr auto openlog = &fake::openLog;
inline constexpr auto logText = &fake::logText;
inline constexpr auto dlsym = &fake::findSymbol;
inline constexpr auto dladdr = &fake::findObject;

} // namespace scripted
} // namespace em::sys

// The script of the fake system seam. A test sets it up and calls reset() at its end (or uses fake::Scope).
#pragma once

#include <dlfcn.h>
#include <fcntl.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace em::fake {

// Everything back to the real system: no faults, no stand-ins, counts at zero, log records dropped.
void reset();

struct Scope {
    Scope() { reset(); }
    ~Scope() { reset(); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
};

// From now on the nth call (1 = the next one) of that name fails with this error number; times = 0: all from
// there.
void failNth(const std::string& call, int nth, int error, int times = 1);
// Calls of that name since reset().
int calls(const std::string& call);
// Called before each call with its name, on the calling thread and in a forked child too; keep it
// async-signal-safe where children are started.
void watch(void (*watcher)(const char* call));

// Asked at each call, after what failNth says, whether it fails: an error number, one of those below, or 0.
// On the calling thread and in a forked child too; neither allocates nor locks. Null ends that.
void decide(int (*decider)(const char* call));
constexpr int kShort = -1; // of read, write and pwrite: half of what was asked for
constexpr int kStray = -2; // of a wait on a condition: woken by nobody
// Threads are numbered in the order in which the product creates them, from 1 after each reset(). 0 on all
// others.
int threadNumber();

// Stand-ins.
void setPath(const std::string& fixed, const std::string& value);
void setUserId(uid_t user);
void setWallClock(time_t now);
// From now on time passes in leaps: a timed wait on a condition and a sleep are over at once, and the
// monotonic clock shows what they would have taken. The first timed waits, so many, end half-way as if
// somebody had woken the waiter.
void leapTime(int strayWakeUps = 0);
// The same on these threads alone, a bit for each number; elsewhere, and for sleeps below 0.1 s, which look
// for what another process does, time passes as it is.
void leapTimeOn(unsigned threads);
// What dlsym answers for a name, and whether dladdr finds it in the object that asks.
enum class Object { Other, Own };
void setSymbol(const std::string& name, void* address, Object object = Object::Other);

// The file system that these calls reach: the real one, or another that a test derives from it. Not owned;
// null gives the real one back.
class Files {
public:
    Files() = default;
    virtual ~Files() = default;
    Files(const Files&) = delete;
    Files& operator=(const Files&) = delete;

    virtual int open(const char* path, int flags, mode_t mode) { return ::open(path, flags, mode); }
    virtual int openat(int dir, const char* name, int flags, mode_t mode) {
        return ::openat(dir, name, flags, mode);
    }
    virtual int close(int fd) { return ::close(fd); }
    virtual ssize_t read(int fd, void* buffer, size_t size) { return ::read(fd, buffer, size); }
    virtual ssize_t write(int fd, const void* data, size_t size) { return ::write(fd, data, size); }
    virtual int fsync(int fd) { return ::fsync(fd); }
    virtual int fchmod(int fd, mode_t mode) { return ::fchmod(fd, mode); }
    virtual int flock(int fd, int operation) { return ::flock(fd, operation); }
    virtual int fstat(int fd, struct stat* status) { return ::fstat(fd, status); }
    virtual int fstatat(int dir, const char* name, struct stat* status, int flags) {
        return ::fstatat(dir, name, status, flags);
    }
    virtual int renameat(int fromDir, const char* from, int toDir, const char* to) {
        return ::renameat(fromDir, from, toDir, to);
    }
    virtual int renameat2(int fromDir, const char* from, int toDir, const char* to, unsigned flags) {
        return ::renameat2(fromDir, from, toDir, to, flags);
    }
    virtual int unlinkat(int dir, const char* name, int flags) { return ::unlinkat(dir, name, flags); }
};
void setFiles(Files* files);

struct LogRecord {
    int priority;
    std::string text;
};
std::vector<LogRecord> logRecords();
// One text for each openlog: "identity options facility", the numbers in decimal.
std::vector<std::string> logOpenings();

// Asked by the fake's calls. Of these, fails(), injected() and files() allocate nothing.
bool fails(const char* call);
int injected(const char* call);
int createThread(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                 void* argument);
Files& files();
const char* path(const char* fixed);
uid_t userId();
time_t wallClock();
int readClock(clockid_t clock, timespec* now);
int sleep(clockid_t clock, int flags, const timespec* request, timespec* remaining);
int waitUntil(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline);
void openLog(const char* identity, int options, int facility);
void logText(int priority, const char* text);
void* findSymbol(void* handle, const char* name);
int findObject(const void* address, Dl_info* info);

} // namespace em::fake

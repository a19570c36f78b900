// The script of the system seam's twin. A test sets it up and calls reset() at its end (or uses twin::Scope).
#pragma once

#include <dlfcn.h>
#include <sys/types.h>

#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace em::twin {

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
// Calls of that name since reset(); an empty name counts the calls of all names.
int calls(const std::string& call);
// Called before each call with its name, on the calling thread and in a forked child too; keep it
// async-signal-safe where children are started.
void watch(void (*watcher)(const char* call));

// Stand-ins.
void setPath(const std::string& function, const std::string& value);
void setUserId(uid_t user);
void setWallClock(time_t now);
// What dlsym answers for a name, and whether dladdr finds it in the object that asks.
enum class Object { Other, Own };
void setSymbol(const std::string& name, void* address, Object object = Object::Other);

struct LogRecord {
    int priority;
    std::string text;
};
std::vector<LogRecord> logRecords();
// One text for each openlog: "identity options facility", the numbers in decimal.
std::vector<std::string> logOpenings();

// Asked by the twin's calls. Of these, fails() and injected() allocate nothing.
bool fails(const char* call);
int injected(const char* call);
const char* path(const char* function, const char* real);
uid_t userId();
time_t wallClock();
void openLog(const char* identity, int options, int facility);
void logText(int priority, const char* text);
void* findSymbol(void* handle, const char* name);
int findObject(const void* address, Dl_info* info);

} // namespace em::twin

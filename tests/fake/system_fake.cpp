#include "base/system_fake.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <set>

namespace em::fake {
namespace {

constexpr std::size_t kNames = 128;

// Fixed slots, so that a call made between fork and exec neither allocates nor locks.
struct Slot {
    std::atomic<const char*> name{nullptr};
    std::atomic<int> calls{0};
    std::atomic<int> failFrom{0};
    std::atomic<int> failTimes{0};
    std::atomic<int> error{0};
};
std::array<Slot, kNames> slots;
std::atomic<void (*)(const char*)> watcher{nullptr};
std::atomic<int (*)(const char*)> decider{nullptr};

std::atomic<int> threadsCreated{0};
thread_local int ownNumber = 0;

Files realFiles;
std::atomic<Files*> standInFiles{nullptr};

constexpr unsigned kAllThreads = ~0U;
std::atomic<unsigned> leapingThreads{0}; // a bit for each number
std::atomic<int> strayWakeUpsLeft{0};
std::atomic<int64_t> leaptNs{0};

struct Symbol {
    void* address;
    Object object;
};
struct Script {
    std::map<std::string, std::string> paths;
    std::optional<uid_t> user;
    std::optional<time_t> time;
    std::map<std::string, Symbol> symbols;
    std::vector<LogRecord> records;
    std::vector<std::string> openings;
};
std::mutex scriptMutex;
Script script;

Slot& slotOf(const char* call) {
    for (Slot& slot : slots) {
        const char* name = slot.name.load();
        if (name == nullptr) {
            // Names are string literals or interned below, so the pointer stays valid.
            if (slot.name.compare_exchange_strong(name, call)) {
                return slot;
            }
        }
        if (std::strcmp(name, call) == 0) {
            return slot;
        }
    }
    std::abort();
}

constexpr int64_t kNsPerSecond = 1'000'000'000;

int64_t nanoseconds(const timespec& time) {
    return time.tv_sec * kNsPerSecond + time.tv_nsec;
}

timespec timeAt(int64_t ns) {
    return {ns / kNsPerSecond, ns % kNsPerSecond};
}

const char* interned(const std::string& name) {
    static std::set<std::string>& names = *new std::set<std::string>;
    return names.insert(name).first->c_str();
}

bool leaps() {
    const unsigned threads = leapingThreads;
    const auto number = static_cast<unsigned>(ownNumber); // the later ones have no bit
    return threads == kAllThreads || (number < 32 && ((threads >> number) & 1U) != 0);
}

struct ThreadStart {
    void* (*routine)(void*);
    void* argument;
    int number;
};

// Free of locals in the frame below the routine, as waitUntil.
[[gnu::noinline]] ThreadStart takeStart(void* given) {
    const ThreadStart start = *static_cast<ThreadStart*>(given);
    std::free(given);
    ownNumber = start.number;
    return start;
}

// The real clock has not made the leaps.
[[gnu::noinline]] int waitBehindLeaps(pthread_cond_t* condition, pthread_mutex_t* mutex,
                                      const timespec& deadline) {
    const timespec real = timeAt(nanoseconds(deadline) - leaptNs);
    return ::pthread_cond_timedwait(condition, mutex, &real);
}

[[gnu::noinline]] int leapTo(const timespec& deadline) {
    timespec now{};
    readClock(CLOCK_MONOTONIC, &now);
    const int64_t left = nanoseconds(deadline) - nanoseconds(now);
    const bool stray = strayWakeUpsLeft.fetch_sub(1) > 0;
    leaptNs += stray ? left / 2 : left;
    return stray ? 0 : ETIMEDOUT;
}

} // namespace

void reset() {
    const std::lock_guard guard(scriptMutex);
    for (Slot& slot : slots) {
        slot.calls = 0;
        slot.failFrom = 0;
    }
    watcher = nullptr;
    decider = nullptr;
    threadsCreated = 0;
    standInFiles = nullptr;
    leapingThreads = 0;
    leaptNs = 0;
    script = {};
}

void failNth(const std::string& call, int nth, int error, int times) {
    const std::lock_guard guard(scriptMutex);
    Slot& slot = slotOf(interned(call));
    slot.error = error;
    slot.failTimes = times;
    slot.failFrom = slot.calls + nth;
}

int calls(const std::string& call) {
    const std::lock_guard guard(scriptMutex);
    return slotOf(interned(call)).calls;
}

void watch(void (*newWatcher)(const char*)) {
    watcher = newWatcher;
}

void decide(int (*newDecider)(const char*)) {
    decider = newDecider;
}

int threadNumber() {
    return ownNumber;
}

void setPath(const std::string& fixed, const std::string& value) {
    const std::lock_guard guard(scriptMutex);
    script.paths[fixed] = value;
}

void setFiles(Files* files) {
    standInFiles = files;
}

void setUserId(uid_t user) {
    script.user = user;
}

void setWallClock(time_t now) {
    const std::lock_guard guard(scriptMutex);
    script.time = now;
}

void setSymbol(const std::string& name, void* address, Object object) {
    const std::lock_guard guard(scriptMutex);
    script.symbols[name] = {address, object};
}

std::vector<LogRecord> logRecords() {
    const std::lock_guard guard(scriptMutex);
    return script.records;
}

std::vector<std::string> logOpenings() {
    const std::lock_guard guard(scriptMutex);
    return script.openings;
}

int injected(const char* call) {
    Slot& slot = slotOf(call);
    const int count = ++slot.calls;
    if (auto* watching = watcher.load()) {
        watching(call);
    }
    const int from = slot.failFrom;
    const int times = slot.failTimes;
    const bool hit = from != 0 && count >= from && (times == 0 || count < from + times);
    if (hit) {
        return slot.error;
    }
    auto* const deciding = decider.load();
    return deciding != nullptr ? deciding(call) : 0;
}

bool fails(const char* call) {
    const int error = injected(call);
    if (error != 0) {
        errno = error;
    }
    return error != 0;
}

Files& files() {
    Files* const standIn = standInFiles;
    return standIn != nullptr ? *standIn : realFiles;
}

const char* path(const char* fixed) {
    const std::lock_guard guard(scriptMutex);
    const auto found = script.paths.find(fixed);
    return found == script.paths.end() ? fixed : found->second.c_str();
}

uid_t userId() {
    return script.user ? *script.user : ::getuid();
}

time_t wallClock() {
    const std::lock_guard guard(scriptMutex);
    return script.time ? *script.time : ::time(nullptr);
}

void leapTime(int strayWakeUps) {
    strayWakeUpsLeft = strayWakeUps;
    leapingThreads = kAllThreads;
}

void leapTimeOn(unsigned threads) {
    leapingThreads = threads;
}

int readClock(clockid_t clock, timespec* now) {
    const int result = ::clock_gettime(clock, now);
    if (clock == CLOCK_MONOTONIC) {
        *now = timeAt(nanoseconds(*now) + leaptNs);
    }
    return result;
}

int sleep(clockid_t clock, int flags, const timespec* request, timespec* remaining) {
    constexpr int64_t kShortestLeap = kNsPerSecond / 10;
    if (!leaps() || (leapingThreads != kAllThreads && nanoseconds(*request) < kShortestLeap)) {
        return ::clock_nanosleep(clock, flags, request, remaining);
    }
    leaptNs += nanoseconds(*request);
    return 0;
}

// A thread may be cancelled in here, so its frame holds no locals: the address sanitizer keeps those of an
// unwound frame poisoned.
int waitUntil(pthread_cond_t* condition, pthread_mutex_t* mutex, const timespec* deadline) {
    if (leaps()) {
        return leapTo(*deadline);
    }
    return leaptNs == 0 ? ::pthread_cond_timedwait(condition, mutex, deadline)
                        : waitBehindLeaps(condition, mutex, *deadline);
}

int createThread(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                 void* argument) {
    auto* const start = static_cast<ThreadStart*>(std::malloc(sizeof(ThreadStart)));
    *start = {routine, argument, ++threadsCreated};
    const auto numbered = [](void* given) -> void* {
        static thread_local ThreadStart own;
        own = takeStart(given);
        return own.routine(own.argument);
    };
    const int error = ::pthread_create(thread, attributes, numbered, start);
    if (error != 0) {
        std::free(start);
    }
    return error;
}

void openLog(const char* identity, int options, int facility) {
    const std::lock_guard guard(scriptMutex);
    script.openings.push_back(std::string(identity) + " " + std::to_string(options) + " " +
                              std::to_string(facility));
}

void logText(int priority, const char* text) {
    const std::lock_guard guard(scriptMutex);
    script.records.push_back({priority, text});
}

void* findSymbol(void* handle, const char* name) {
    const std::lock_guard guard(scriptMutex);
    const auto found = script.symbols.find(name);
    return found == script.symbols.end() ? ::dlsym(handle, name) : found->second.address;
}

int findObject(const void* address, Dl_info* info) {
    const std::lock_guard guard(scriptMutex);
    for (const auto& [name, symbol] : script.symbols) {
        if (symbol.address == address) {
            return symbol.object == Object::Own ? ::dladdr(&script.symbols, info) : 0;
        }
    }
    return ::dladdr(address, info);
}

} // namespace em::fake

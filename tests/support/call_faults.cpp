#include "support/call_faults.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>
#include <sstream>
#include <stdexcept>

#include "base/system_fake.h"

namespace em::test {
namespace {

constexpr size_t kMostWays = 5;

struct Row {
    const char* call;
    std::array<int, kMostWays> errors; // in order; 0 = no more
};

// Which errors a call may give as the product makes it. A row without any cannot fail there, for the reason
// beside it.
constexpr Row kCalls[] = {
    {"new", {ENOMEM}},
    {"malloc", {ENOMEM}},
    {"calloc", {ENOMEM}},
    {"realloc", {ENOMEM}},
    {"strdup", {ENOMEM}},

    {"open", {EMFILE, ENOENT, EACCES, EINTR}},
    {"openat", {EMFILE, ENOENT, EACCES, ENOSPC, EINTR}},
    {"close", {EIO, EINTR}},
    {"read", {EIO, EINTR, fake::kShort}},
    {"write", {ENOSPC, EIO, EINTR, fake::kShort}},
    {"pwrite", {ENOSPC, EIO, EINTR, fake::kShort}},
    {"fsync", {EIO, ENOSPC}},
    {"ftruncate", {EIO}},
    {"posix_fallocate", {ENOSPC, EOPNOTSUPP}},
    {"fchmod", {EPERM, EROFS}},
    {"fchown", {EPERM, EINVAL}},
    {"flock", {ENOLCK, EWOULDBLOCK, EINTR}},
    {"fstat", {EIO}},
    {"fstatat", {EACCES, ENOENT}},
    {"fgetxattr", {ENOTSUP}},
    {"readlinkat", {EIO}},
    {"stat", {ENOENT, EACCES}},
    {"access", {ENOENT, EACCES}},
    {"renameat", {EIO, ENOSPC}},
    {"renameat2", {EINVAL, ENOSPC, EEXIST}},
    {"unlinkat", {EIO, ENOENT}},
    {"getcwd", {ENOENT, ENOMEM}},
    {"chdir", {ENOENT, EACCES}},
    {"opendir", {ENOENT, EMFILE}},
    {"readdir", {EIO}},
    {"closedir", {EIO}},

    {"fork", {EAGAIN, ENOMEM}},
    {"clone", {EAGAIN, EPERM}},
    {"pidfd_open", {ENOSYS, EMFILE}},
    {"posix_spawn", {EAGAIN, ENOENT}},
    {"posix_spawn_file_actions_adddup2", {ENOMEM}},
    {"iconv_open", {ENOMEM, EINVAL}},
    {"waitpid", {ECHILD, EINTR}},
    {"pipe2", {EMFILE, ENFILE}},
    {"poll", {ENOMEM, EINTR}},
    {"sysconf", {EINVAL}},
    {"close_range", {ENOSYS, EPERM}},
    {"execv", {ENOENT, ENOMEM}},
    {"clock_nanosleep", {EINTR}},

    {"pthread_create", {EAGAIN}},
    {"pthread_attr_init", {ENOMEM}},
    {"pthread_attr_setschedpolicy", {ENOTSUP}},
    {"pthread_attr_getschedparam", {EINVAL}},
    {"pthread_attr_setschedparam", {ENOTSUP}},
#ifdef __SANITIZE_THREAD__ // without its mutex the queue works unlocked, by design
    {"pthread_mutex_init", {}},
#else
    {"pthread_mutex_init", {ENOMEM}},
#endif
    {"pthread_condattr_setclock", {EINVAL}},
    {"pthread_cond_init", {ENOMEM}},
    {"pthread_cond_timedwait", {fake::kStray}},
    {"pthread_cond_wait", {fake::kStray}},

    {"clock_gettime", {}},          // a clock that every kernel has, and a good pointer
    {"getenv", {}},                 // a variable that is not set is no failure
    {"kill", {}},                   // an own child that nobody has collected yet
    {"pthread_sigmask", {}},        // a good pointer and a good way
    {"sigaction", {}},              // two numbers of 64 fail in each run: libc's own signals
    {"sched_yield", {}},            // never does
    {"pthread_join", {}},           // a joinable thread that is not the caller
    {"pthread_getschedparam", {}},  // a thread that is not joined yet
    {"pthread_mutex_lock", {}},     // of the default kind, never left locked by its owner
    {"pthread_cond_signal", {}},    // touches user memory only
    {"pthread_cond_broadcast", {}}, // the same
};

// In memory that a child shares, whichever way it was started: its calls are those of the thread that started
// it.
struct Seen {
    std::array<std::atomic<int>, std::size(kCalls)> counts;
    std::atomic<bool> failed;
    std::atomic<const char*> unknown;
};
Seen& seen() {
    static Seen* const shared =
        new (::mmap(nullptr, sizeof(Seen), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Seen{};
    return *shared;
}

std::atomic<bool> armed{false};
CallFault wanted;

const Row* find(const char* call) {
    const auto* const row = std::find_if(std::begin(kCalls), std::end(kCalls), [call](const Row& known) {
        return std::strcmp(known.call, call) == 0;
    });
    return row != std::end(kCalls) ? row : nullptr;
}

int decide(const char* call) {
    if (!armed || fake::threadNumber() != wanted.thread) {
        return 0;
    }
    const Row* const row = find(call);
    if (row == nullptr) {
        seen().unknown = call;
        return 0;
    }
    const int number = ++seen().counts[static_cast<size_t>(row - kCalls)];
    if (wanted.nth == 0 || wanted.call != call || number < wanted.nth ||
        (number > wanted.nth && !wanted.stays)) {
        return 0;
    }
    seen().failed = true;
    return wanted.error;
}

} // namespace

std::string CallFault::shown() const {
    return std::to_string(thread) + ":" + call + ":" + std::to_string(nth) + ":" + nameOfError(error) +
           (stays ? "+" : "");
}

CallFault CallFault::parse(const std::string& text) {
    std::istringstream fields(text);
    std::string thread;
    std::string nth;
    std::string error;
    CallFault fault;
    std::getline(std::getline(std::getline(std::getline(fields, thread, ':'), fault.call, ':'), nth, ':'),
                 error);
    fault.stays = error.ends_with('+');
    error.resize(error.size() - (fault.stays ? 1 : 0));
    for (const int known : errorsOf(fault.call)) {
        fault.error = nameOfError(known) == error ? known : fault.error;
    }
    if (fault.error == 0) {
        throw std::invalid_argument("no fault: " + text);
    }
    fault.thread = std::stoi(thread);
    fault.nth = std::stoi(nth);
    return fault;
}

std::vector<int> errorsOf(const std::string& call) {
    const Row* const row = find(call.c_str());
    return row == nullptr
               ? std::vector<int>()
               : std::vector<int>(row->errors.begin(), std::find(row->errors.begin(), row->errors.end(), 0));
}

bool mayStay(int error) {
    return error != EINTR && error != EEXIST && error != ENOENT && error != ECHILD && error != fake::kStray &&
           error != fake::kShort;
}

CallFaultScope::CallFaultScope(const CallFault& fault) {
    wanted = fault;
    std::ranges::fill(seen().counts, 0);
    seen().failed = false;
    seen().unknown = nullptr;
    fake::decide(decide);
    armed = true;
}

CallFaultScope::~CallFaultScope() {
    armed = false;
    fake::decide(nullptr);
}

CallFaultResult lastCallFault() {
    CallFaultResult result;
    const char* const unknown = seen().unknown;
    result.failed = seen().failed;
    result.unknown = unknown != nullptr ? unknown : "";
    for (const Row& row : kCalls) {
        if (seen().counts[static_cast<size_t>(&row - kCalls)] != 0 && row.errors[0] != 0) {
            result.made.emplace_back(row.call);
        }
    }
    return result;
}

std::string nameOfError(int error) {
    const char* const name = ::strerrorname_np(error);
    return error == fake::kShort ? "short" : error == fake::kStray ? "stray" : name != nullptr ? name : "?";
}

} // namespace em::test

// What it costs to start "/bin/sh -c true" and to see its end, and to ask a command through the shell, beside
// the ways of the system: in a small process, in large ones, and with many descriptors allowed. By the clock,
// since most of the work is the child's.
#include <spawn.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "bench/comparison.h"
#include "platform/processes/child_process.h"
#include "platform/processes/shell_query.h"

namespace em::bench {
namespace {

constexpr int kRounds = 151;
constexpr int kRoundsOfLarge = 31; // a fork of a GiB takes its time

void collect(pid_t pid) {
    require(pid > 0 && ::waitpid(pid, nullptr, 0) == pid, "no child");
}

void startOurs() {
    collect(startShell("true", ChildSignals::BlockEnding).pid);
}

// The least that does it: no care for signals, masks or cancellation, and no descriptor of the child.
void startByVfork() {
    const auto limit = static_cast<unsigned>(::sysconf(_SC_OPEN_MAX));
    const pid_t pid = ::vfork(); // NOLINT(clang-analyzer-security.insecureAPI.vfork): the floor
    if (pid == 0) {
        ::close_range(3, limit - 1, 0);
        ::execl("/bin/sh", "sh", "-c", "true", nullptr);
        ::_exit(1);
    }
    collect(pid);
}

void startByFork() {
    const auto limit = static_cast<unsigned>(::sysconf(_SC_OPEN_MAX));
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close_range(3, limit - 1, 0);
        ::execl("/bin/sh", "sh", "-c", "true", nullptr);
        ::_exit(1);
    }
    collect(pid);
}

// With nothing closed: it has no way to do that within one call for each descriptor.
void startByPosixSpawn() {
    char name[] = "sh";
    char option[] = "-c";
    char command[] = "true";
    char* const arguments[] = {name, option, command, nullptr};
    pid_t pid = -1;
    require(::posix_spawn(&pid, "/bin/sh", nullptr, nullptr, arguments, environ) == 0, "no child");
    collect(pid);
}

void askOurs() {
    require(queryShell("echo Enabled", 30'000, nullptr, nullptr).firstCharacter == 'E', "no answer");
}

void askByPopen() {
    FILE* const pipe = ::popen("echo Enabled", "re");
    require(pipe != nullptr && std::fgetc(pipe) == 'E', "no answer");
    ::pclose(pipe);
}

// Memory that this process has in use while it lives, in small pages as a heap that grew over weeks.
class Touched {
public:
    explicit Touched(size_t bytes)
        : m_size(bytes),
          m_begin(::mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
        require(m_begin != MAP_FAILED, "no memory");
        ::madvise(m_begin, m_size, MADV_NOHUGEPAGE);
        std::memset(m_begin, 1, m_size);
    }
    Touched(const Touched&) = delete;
    Touched& operator=(const Touched&) = delete;
    ~Touched() { ::munmap(m_begin, m_size); }

private:
    const size_t m_size;
    void* const m_begin;
};

// As many descriptors allowed as may be while it lives.
class ManyDescriptors {
public:
    ManyDescriptors() {
        require(::getrlimit(RLIMIT_NOFILE, &m_before) == 0, "no limit");
        const rlimit most = {m_before.rlim_max, m_before.rlim_max};
        require(::setrlimit(RLIMIT_NOFILE, &most) == 0, "no limit");
    }
    ManyDescriptors(const ManyDescriptors&) = delete;
    ManyDescriptors& operator=(const ManyDescriptors&) = delete;
    ~ManyDescriptors() { ::setrlimit(RLIMIT_NOFILE, &m_before); }

private:
    rlimit m_before = {};
};

// Two GiB, or half of what is free where that is less; whole MiB.
size_t largeSize() {
    const auto free = static_cast<size_t>(::sysconf(_SC_AVPHYS_PAGES));
    const size_t size = std::min(size_t{2} << 30, free * static_cast<size_t>(::sysconf(_SC_PAGESIZE)) / 2);
    return size >> 20 << 20;
}

// makeWorld gives what stands while the rounds run.
template <class MakeWorld>
void compareAll(const std::string& where, int rounds, MakeWorld makeWorld) {
    struct Row {
        const char* name;
        void (*ours)();
        void (*theirs)();
    };
    static constexpr Row kRows[] = {{"start / vfork + close_range", startOurs, startByVfork},
                                    {"start / posix_spawn", startOurs, startByPosixSpawn},
                                    {"start / fork", startOurs, startByFork},
                                    {"query / popen", askOurs, askByPopen}};
    for (const Row& row : kRows) {
        compare(std::string(row.name) + ", " + where, rounds, [=] {
            const std::shared_ptr<void> world = makeWorld();
            const auto once = [world](void (*work)()) {
                return timed(
                    1, [world, work] { work(); }, CLOCK_MONOTONIC);
            };
            return Pair{once(row.ours), once(row.theirs)};
        });
    }
}

} // namespace

void addComparisons() {
    compareAll("small", kRounds, [] { return std::shared_ptr<void>(); });
    compareAll("50 MiB touched", kRounds, [] { return std::make_shared<Touched>(size_t{50} << 20); });
    static const size_t kLarge = largeSize();
    tell("a large process", [] { return std::map<std::string, double>{{"mib", kLarge >> 20}}; });
    compareAll("large", kRoundsOfLarge, [] { return std::make_shared<Touched>(kLarge); });
    compareAll("many descriptors", kRounds, [] { return std::make_shared<ManyDescriptors>(); });
}

} // namespace em::bench

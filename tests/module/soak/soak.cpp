// soak SECONDS: the module that ships, in a host that keeps it busy without letting a shutdown through: the
// watcher looks once a second at a gate that opens and closes in turn, the worker asks for a power-off time
// that is never now, requests of every refused shape come in, others are refused at the gate or cancelled in
// their delay, and the trace is at its highest level. Once a minute a row of figures is printed; what grows
// behind the warm-up ends the program with exit code 1.
//
// Figures are taken while all of the module's threads sleep, which their lines tell: a query that runs has a
// child and two descriptors of its own. Bounds: descriptors, threads and uncollected children stay what they
// were at the end of the warm-up, to the last one. The heap, of which allocated bytes are counted, may differ
// by what a buffer is longer at one time than at another; the resident memory besides by what the C library
// keeps of freed blocks.
#include <dirent.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "host/sandbox/sandbox_guard.h"
#include "module/loaded_module.h"
#include "rig/sandbox.h"

namespace em::test {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr int64_t kHeapMayGrow = 4 * 1024;        // bytes
constexpr int64_t kResidentMayGrow = 1024 * 1024; // bytes; less than a byte for each line of half an hour
#ifdef EM_SANITIZED
constexpr bool kCountsMemory = false; // a sanitizer keeps what was freed
#else
constexpr bool kCountsMemory = true;
#endif

constexpr const char* kWatcherSleeps = "check maintenance thread sleeps 1 seconds for next action";
constexpr const char* kWatcherAsks = "getMaintenanceMode()";
constexpr const char* kMaintenanceChange = R"({"OC":513,)";
constexpr const char* kAborted = R"({"OC":527,"DA":5,)";
constexpr const char* kHandlerWaits = "Waiting on task queue for next task";

[[noreturn]] void fail(const std::string& text) {
    std::printf("%s\n%s", text.c_str(), recording().shown().c_str());
    std::fflush(stdout);
    std::_Exit(1); // threads of the module may be anywhere
}

void require(bool holds, const char* text) {
    if (!holds) {
        fail(text);
    }
}

void awaitLine(const char* text, size_t times = 1) {
    if (!recording().waitFor(text, times, 60s)) {
        fail(std::string("this did not come within a minute: ") + text);
    }
}

// Names in a directory of numbers, as /proc has them.
std::vector<std::string> entriesOf(const std::string& directory) {
    std::vector<std::string> names;
    DIR* const opened = ::opendir(directory.c_str());
    require(opened != nullptr, "a directory of /proc cannot be read");
    while (const dirent* const entry = ::readdir(opened)) {
        if (entry->d_name[0] >= '0' && entry->d_name[0] <= '9') {
            names.emplace_back(entry->d_name);
        }
    }
    ::closedir(opened);
    return names;
}

int64_t statusLine(const char* name) {
    std::ifstream file("/proc/self/status");
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(name)) {
            return std::strtoll(line.c_str() + std::string_view(name).size(), nullptr, 10);
        }
    }
    fail(std::string("/proc/self/status has no ") + name);
}

// Children of this process that have ended and were not waited for.
int64_t uncollectedChildren() {
    const std::vector<std::string> processes = entriesOf("/proc");
    const std::string end = " Z " + std::to_string(::getpid()) + " ";
    return std::count_if(processes.begin(), processes.end(), [&](const std::string& process) {
        std::ifstream file("/proc/" + process + "/stat");
        std::string line;
        std::getline(file, line);
        const size_t name = line.rfind(')');
        return name != std::string::npos && line.compare(name + 1, end.size(), end) == 0;
    });
}

struct Figures {
    int64_t resident, heap, descriptors, threads, uncollected;
};

Figures figuresNow() {
    const struct mallinfo2 heap = ::mallinfo2();
    return {statusLine("VmRSS:") * 1024, static_cast<int64_t>(heap.uordblks + heap.hblkhd),
            std::ssize(entriesOf("/proc/self/fd")), std::ssize(entriesOf("/proc/self/task")),
            uncollectedChildren()};
}

// Taken anew where a query began meanwhile.
Figures quietFigures() {
    for (;;) {
        recording().clear();
        awaitLine(kWatcherSleeps);
        recording().clear();
        const Figures figures = figuresNow();
        if (!recording().contains(kWatcherAsks)) {
            return figures;
        }
    }
}

struct Counts {
    uint64_t refused = 0;   // answered with a status that is no success, or unhandled
    uint64_t atTheGate = 0; // shutdowns that were refused there
    uint64_t cancelled = 0;
    uint64_t flips = 0; // of the gate, as the module told the host
};

class Soak {
public:
    Soak() {
        m_module.host.answer(kDelay, "0");
        m_module.host.onMessage([this](uint32_t code, uint32_t item, Envelope&) {
            if (m_cancels && code == kSettings && item == kDelay) {
                static_cast<void>(m_module.request(R"({"OC":521})"));
            }
        });
        m_module.host.answer(kPowerOffTime, std::to_string(minuteFarFromNow()));
        setMaintenance("Disabled");
        require(m_module.start(), "slot 4 gave false");
        m_module.afterStart();
    }

    // The gate opens, then closes; about two seconds, which the watcher's pace gives.
    void turn() {
        flip("Enabled");
        sendRefused();
        cancelAtTheDelay();
        flip("Disabled");
        sendRefused();
        refuseAtTheGate();
    }
    [[nodiscard]] const Counts& counts() const { return m_counts; }

private:
    // Half a day away; the run is shorter.
    static int minuteFarFromNow() {
        const std::time_t then = std::time(nullptr) + std::time_t{12} * 60 * 60;
        std::tm local{};
        ::localtime_r(&then, &local);
        return local.tm_hour * 60 + local.tm_min;
    }

    void flip(const char* answer) {
        recording().clear();
        setMaintenance(answer);
        awaitLine(kMaintenanceChange);
        ++m_counts.flips;
    }

    void sendRefused() {
        const std::string longText(3000, 'x');
        for (int round = 0; round < 10; ++round) {
            recording().clear();
            for (const std::string& command :
                 {std::string(R"({"OC":522,"DA":1})"), std::string(R"({"OC":528})"), std::string("17"),
                  R"({"OC":"off","DA":{"a":[")" + longText + R"("]}})", std::string(R"({"DA":"%n%s"})")}) {
                const std::string answer = m_module.request(command);
                require(answer.find(R"("ST":25)") != std::string::npos || answer.starts_with("false "),
                        "a request was not refused");
                ++m_counts.refused;
            }
            require(m_module.requestWhole(R"({"SIP":{"V":2,"CMD":[{"OC":517}]}})").starts_with("false "),
                    "a request of another version was not refused");
            ++m_counts.refused;
        }
    }

    // From inside of a message that comes ahead of the delay: whenever it were sent otherwise, it might come
    // too late, and a command would end the run.
    void cancelAtTheDelay() {
        m_cancels = true;
        askInVain(517);
        m_cancels = false;
        ++m_counts.cancelled;
    }

    void refuseAtTheGate() {
        askInVain(518);
        ++m_counts.atTheGate;
    }

    void askInVain(int operation) {
        recording().clear();
        static_cast<void>(m_module.request(R"({"OC":)" + std::to_string(operation) + R"(,"DA":3})"));
        awaitLine(kAborted);
        awaitLine(kHandlerWaits);
    }

    std::atomic<bool> m_cancels{false};
    HostedModule m_module{5};
    Counts m_counts;
};

void print(int64_t seconds, const Figures& figures, const Counts& counts) {
    std::printf("%6.1f %9ld %10ld %12ld %8ld %12ld %9lu %9lu %10lu %6lu\n", static_cast<double>(seconds) / 60,
                figures.resident / 1024, figures.heap, figures.descriptors, figures.threads,
                figures.uncollected, counts.refused, counts.atTheGate, counts.cancelled, counts.flips);
    std::fflush(stdout);
}

// What has grown since, empty when nothing has.
std::string growth(const Figures& first, const Figures& now) {
    std::string grown;
    const auto compare = [&](const char* what, int64_t before, int64_t after, int64_t mayGrow) {
        if (after > before + mayGrow) {
            grown += std::string(what) + ": " + std::to_string(before) + " at the end of the warm-up, " +
                     std::to_string(after) + " now\n";
        }
    };
    compare("descriptors", first.descriptors, now.descriptors, 0);
    compare("threads", first.threads, now.threads, 0);
    compare("uncollected children", 0, now.uncollected, 0);
    if (kCountsMemory) {
        compare("bytes of the heap", first.heap, now.heap, kHeapMayGrow);
        compare("bytes of resident memory", first.resident, now.resident, kResidentMayGrow);
    }
    return grown;
}

int run(std::chrono::seconds length) {
    const volad_dev::CommandRecorder commands;
    const auto warmUp = std::min<std::chrono::seconds>(length / 5, 3min);
    const auto begin = Clock::now();
    const auto passed = [begin] {
        return std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin);
    };
    std::printf("minute  RSS, KiB   heap, B  descriptors  threads  uncollected   refused  "
                "at gate  cancelled  flips\n");
    Soak soak;
    std::optional<Figures> first;
    std::chrono::seconds next = warmUp;
    std::string grown;
    while (grown.empty() && passed() < length) {
        soak.turn();
        if (passed() >= next) {
            const Figures figures = quietFigures();
            print(passed().count(), figures, soak.counts());
            grown = growth(first.value_or(figures), figures);
            first = first ? first : figures;
            next = std::min(passed() + 60s, length);
        }
    }
    require(commands.read().empty(), "a command was started");
    std::printf("%s\n", grown.empty() ? "nothing has grown" : grown.c_str());
    return grown.empty() ? 0 : 1;
}

} // namespace
} // namespace em::test

// The C library counts what each thread keeps back of freed blocks as allocated; so it is to keep nothing
// back, which it reads before main.
static void restartWithoutCaches(char** argv) {
    constexpr const char* kVariable = "GLIBC_TUNABLES";
    if (std::getenv(kVariable) == nullptr) {
        ::setenv(kVariable, "glibc.malloc.tcache_count=0", 1);
        ::execv("/proc/self/exe", argv);
        std::perror("soak");
        std::exit(1);
    }
}

int main(int argc, char** argv) {
    volad_dev::assertSandboxInForce();
    restartWithoutCaches(argv);
    int seconds = 0;
    const std::string_view given = argc == 2 ? argv[1] : "";
    const auto [end, error] = std::from_chars(given.data(), given.data() + given.size(), seconds);
    if (error != std::errc() || end != given.data() + given.size() || seconds < 30) {
        std::fputs("usage: soak SECONDS, 30 at least\n", stderr);
        return 2;
    }
    return em::test::run(std::chrono::seconds(seconds));
}

// What the module costs a host that has nothing to do, beside the ordered poll alone: the question for the
// maintenance mode through the shell, each second, by popen. Both run at the same time, each in a process of
// its own, whose processor time and that of its children are read once a poll.
#include <sys/resource.h>
#include <sys/wait.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <functional>
#include <future>
#include <map>
#include <string>
#include <thread>

#include "bench/comparison.h"
#include "bench/fresh_process.h"
#include "bench/hosted_module.h"
#include "contract/places.h"

namespace em::bench {
namespace {

constexpr size_t kPolls = 7;
constexpr long kPollNs = 1'000'000'000;

struct Idle {
    double cpuMs;   // a poll, the median
    double wakeUps; // a poll
};

struct Usage {
    double cpuMs = 0;
    double wakeUps = 0; // of the process alone; the shells are the same on both sides
};

Usage usage() {
    Usage sum;
    for (const int who : {RUSAGE_SELF, RUSAGE_CHILDREN}) {
        rusage used = {};
        ::getrusage(who, &used);
        for (const timeval& time : {used.ru_utime, used.ru_stime}) {
            sum.cpuMs += static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) * 1e-3;
        }
        sum.wakeUps += who == RUSAGE_SELF ? static_cast<double>(used.ru_nvcsw) : 0;
    }
    return sum;
}

void sleepNs(long nanoseconds) {
    const timespec request = {.tv_sec = nanoseconds / kPollNs, .tv_nsec = nanoseconds % kPollNs};
    ::clock_nanosleep(CLOCK_MONOTONIC, 0, &request, nullptr);
}

// Looks between two polls, and takes its own wake-up off.
Idle watchPolls() {
    sleepNs(kPollNs / 2);
    std::array<double, kPolls> cpuMs{};
    const Usage begin = usage();
    Usage before = begin;
    for (double& each : cpuMs) {
        sleepNs(kPollNs);
        const Usage now = usage();
        each = now.cpuMs - before.cpuMs;
        before = now;
    }
    std::ranges::nth_element(cpuMs, cpuMs.begin() + kPolls / 2);
    return {cpuMs[kPolls / 2], (before.wakeUps - begin.wakeUps) / kPolls - 1};
}

Idle module() {
    HostedModule module;
    module.create();
    module.start();
    module.afterStart();
    return watchPolls();
}

Idle pollAlone() {
    std::jthread poll([](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            FILE* const answer = ::popen(place::kMaintenanceQuery, "re");
            require(answer != nullptr && std::fgetc(answer) == place::kMaintenanceOn, "no maintenance mode");
            ::pclose(answer);
            sleepNs(kPollNs);
        }
    });
    return watchPolls();
}

std::map<std::string, double> measure() {
    auto theirsLater = std::async(std::launch::async, [] { return inFreshProcess(pollAlone); });
    sleepNs(kPollNs / 4); // not both polls at once
    const Idle ours = inFreshProcess(module);
    const Idle theirs = theirsLater.get();
    constexpr double kPollsAMinute = 60;
    return {{"cpu_ms_a_minute", ours.cpuMs * kPollsAMinute},
            {"theirs_cpu_ms_a_minute", theirs.cpuMs * kPollsAMinute},
            {"cpu_ratio", ours.cpuMs / theirs.cpuMs},
            {"wake_ups_a_minute", ours.wakeUps * kPollsAMinute},
            {"theirs_wake_ups_a_minute", theirs.wakeUps * kPollsAMinute},
            {"wake_ups_ratio", ours.wakeUps / theirs.wakeUps}};
}

} // namespace

void addComparisons() {
    refuseOutsideSandbox();
    tell("idle / the poll alone", measure);
}

} // namespace em::bench

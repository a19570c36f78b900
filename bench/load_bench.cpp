// What a host waits for the module: dlopen, and from there to the end of Start, beyond the tenth of a second
// that Start sleeps. Each time in a process that has just begun (load_probe.cpp).
#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <string>

#include "bench/comparison.h"
#include "bench/hosted_module.h"

namespace em::bench {
namespace {

constexpr size_t kLoads = 31;
constexpr double kOrderedMs = 100;

struct Load {
    double dlopenMs;
    double startedMs;
};

Load load() {
    static const std::string probe =
        std::filesystem::read_symlink("/proc/self/exe").parent_path() / "load_probe";
    Load load{};
    FILE* const output = ::popen(probe.c_str(), "re");
    // NOLINTNEXTLINE(cert-err34-c): our own program's numbers
    require(output != nullptr && std::fscanf(output, "%lf %lf", &load.dlopenMs, &load.startedMs) == 2 &&
                ::pclose(output) == 0,
            "load_probe failed");
    load.startedMs -= kOrderedMs;
    return load;
}

// How late such a sleep ends by itself.
double lateSleepMs() {
    const Stopwatch watch(CLOCK_MONOTONIC);
    const timespec request = {.tv_sec = 0, .tv_nsec = static_cast<long>(kOrderedMs * 1e6)};
    ::clock_nanosleep(CLOCK_MONOTONIC, 0, &request, nullptr);
    return watch.seconds() * 1e3 - kOrderedMs;
}

std::map<std::string, double> measure() {
    std::array<Load, kLoads> loads{};
    std::array<double, kLoads> sleeps{};
    std::ranges::generate(loads, load);
    std::ranges::generate(sleeps, lateSleepMs);
    const auto median = [](auto& values, auto member) {
        std::ranges::sort(values, {}, member);
        return std::invoke(member, values[kLoads / 2]);
    };
    return {{"dlopen_ms", median(loads, &Load::dlopenMs)},
            {"started_ms", median(loads, &Load::startedMs)},
            {"sleep_late_ms", median(sleeps, std::identity{})}};
}

} // namespace

void addComparisons() {
    refuseOutsideSandbox();
    tell("load to started", measure);
}

} // namespace em::bench

// Two pieces of work measured against each other in one run.
#pragma once

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>

namespace em::bench {

struct Comparison {
    double nanoseconds; // of one of ours, median
    double ratio;       // ours to theirs, median of the rounds
};

// Each round runs both, one after the other, `count` times; so what disturbs the machine disturbs both.
template <class Ours, class Theirs>
Comparison comparePaired(int count, Ours&& ours, Theirs&& theirs) {
    using Clock = std::chrono::steady_clock;
    const auto nanosecondsOf = [count](auto& work) {
        const Clock::time_point begin = Clock::now();
        for (int i = 0; i < count; ++i) {
            work(i);
        }
        return std::chrono::duration<double, std::nano>(Clock::now() - begin).count() / count;
    };
    std::array<double, 101> times{};
    std::array<double, 101> ratios{};
    for (size_t round = 0; round < times.size(); ++round) {
        times[round] = nanosecondsOf(ours);
        ratios[round] = times[round] / nanosecondsOf(theirs);
    }
    std::nth_element(times.begin(), times.begin() + times.size() / 2, times.end());
    std::nth_element(ratios.begin(), ratios.begin() + ratios.size() / 2, ratios.end());
    return {times[times.size() / 2], ratios[ratios.size() / 2]};
}

inline void print(const char* what, const Comparison& comparison, double mark) {
    std::printf("%-44s %8.2f ns, ratio %5.2f (mark %.2f)\n", what, comparison.nanoseconds, comparison.ratio,
                mark);
}

} // namespace em::bench

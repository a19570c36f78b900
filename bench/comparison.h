// Rounds in which one piece of work runs beside another, so that what disturbs the machine disturbs both.
// What is told are medians: "seconds" and "theirs" of one call; "ratio", ours to theirs, and "beyond", the
// seconds of ours beyond theirs, of the rounds.
#pragma once

#include <benchmark/benchmark.h>
#include <time.h>

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>

namespace em::bench {

// Works once and tells the seconds that the measured part of it took.
using Timed = std::function<double()>;

struct Pair {
    Timed ours;
    Timed theirs;
};

// Both sides are made when the comparison's turn comes. "--rounds=N" of the command line goes before
// `rounds`.
void compare(const std::string& name, int rounds, std::function<Pair()> prepare);

// Figures of one run that are compared with nothing, by their names.
void tell(const std::string& name, std::function<std::map<std::string, double>()> measure);

// What a benchmark defines: its calls of the two above.
void addComparisons();

inline void require(bool holds, const char* what) {
    if (!holds) {
        throw std::runtime_error(what);
    }
}

// Seconds since it was made, by default of this thread's processor time: what else the machine does then does
// not count.
class Stopwatch {
public:
    explicit Stopwatch(clockid_t clock = CLOCK_THREAD_CPUTIME_ID) : m_clock(clock), m_begin(now()) {}

    [[nodiscard]] double seconds() const { return now() - m_begin; }

private:
    [[nodiscard]] double now() const {
        timespec time{};
        ::clock_gettime(m_clock, &time);
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
    }

    const clockid_t m_clock;
    const double m_begin;
};

// The mean of `count` calls.
template <class Work>
Timed timed(int count, Work work, clockid_t clock = CLOCK_THREAD_CPUTIME_ID) {
    return [count, work = std::move(work), clock]() mutable {
        const Stopwatch watch(clock);
        for (int i = 0; i < count; ++i) {
            work();
        }
        return watch.seconds() / count;
    };
}

} // namespace em::bench

// Seconds since it was made, by default of this thread's processor time: what else the machine does then does
// not count.
#pragma once

#include <time.h>

namespace em::bench {

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

} // namespace em::bench

// Spans of time on the monotonic clock: when one ends, and sleeping through one. The arithmetic is pure.
#pragma once

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <ctime>

#include "base/errno_keeper.h"
#include "base/system.h"

namespace em {

// The moment at which a span ends.
class Deadline {
public:
    constexpr Deadline(int64_t nowNs, uint64_t spanMs)
        : m_endNs(nowNs + static_cast<int64_t>(spanMs) * kNsPerMs) {}
    static Deadline in(uint64_t spanMs) { return {nowNs(), spanMs}; }

    // Milliseconds from that moment to the end, rounded up, 0 from the end on; at most 0xFFFFFFFE, since
    // 0xFFFFFFFF means for ever.
    [[nodiscard]] constexpr uint32_t remainingMs(int64_t now) const {
        const int64_t left = (m_endNs - now + kNsPerMs - 1) / kNsPerMs;
        return static_cast<uint32_t>(std::clamp<int64_t>(left, 0, UINT32_MAX - 1));
    }
    [[nodiscard]] uint32_t remainingMs() const { return remainingMs(nowNs()); }

    static int64_t nowNs() {
        timespec now{};
        sys::clock_gettime(CLOCK_MONOTONIC, &now);
        return int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
    }

private:
    static constexpr int64_t kNsPerMs = 1'000'000;

    int64_t m_endNs;
};

// The same moment as a timed wait wants it. now.tv_nsec lies below a second; so does the result's.
constexpr timespec waitDeadline(const timespec& now, uint32_t timeoutMs) {
    constexpr int64_t nanosPerSecond = 1'000'000'000;
    const int64_t nanos = int64_t{timeoutMs % 1000} * 1'000'000 + now.tv_nsec;
    return {.tv_sec = int64_t{timeoutMs / 1000} + now.tv_sec + nanos / nanosPerSecond,
            .tv_nsec = nanos % nanosPerSecond};
}

// A plain sleep, which signals do not shorten. Waits that somebody may end are events'.
inline void sleepMs(uint64_t milliseconds) {
    const ErrnoKeeper keeper;
    timespec left{static_cast<time_t>(milliseconds / 1000),
                  static_cast<long>(milliseconds % 1000) * 1'000'000};
    while (sys::clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}

} // namespace em

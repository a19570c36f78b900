// A moment on the monotonic clock. The arithmetic is pure; now() asks the clock.
#pragma once

#include <algorithm>
#include <cstdint>

#include "platform/base/system.h"

namespace em {

class Deadline {
public:
    constexpr Deadline(int64_t nowNs, uint64_t spanMs)
        : m_nEndNs(nowNs + static_cast<int64_t>(spanMs) * kNsPerMs) {}
    static Deadline in(uint64_t spanMs) { return {nowNs(), spanMs}; }

    // Milliseconds from that moment to the end, rounded up, 0 from the end on; at most 0xFFFFFFFE, since
    // 0xFFFFFFFF means for ever.
    [[nodiscard]] constexpr uint32_t remainingMs(int64_t now) const {
        const int64_t left = (m_nEndNs - now + kNsPerMs - 1) / kNsPerMs;
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

    int64_t m_nEndNs;
};

} // namespace em

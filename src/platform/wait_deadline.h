// When a wait of that many milliseconds ends.
#pragma once

#include <cstdint>
#include <ctime>

namespace em {

// now.tv_nsec lies below a second; so does the result's.
constexpr timespec waitDeadline(const timespec& now, uint32_t timeoutMs) {
    constexpr int64_t nanosPerSecond = 1'000'000'000;
    const int64_t nanos = int64_t{timeoutMs % 1000} * 1'000'000 + now.tv_nsec;
    return {.tv_sec = int64_t{timeoutMs / 1000} + now.tv_sec + nanos / nanosPerSecond,
            .tv_nsec = nanos % nanosPerSecond};
}

} // namespace em

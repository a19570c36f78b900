// A plain sleep on the steady clock, which signals do not shorten. Waits that somebody may end are events'.
#pragma once

#include <cerrno>
#include <cstdint>

#include "platform/base/errno_keeper.h"
#include "platform/base/system.h"

namespace em {

inline void sleepMs(uint64_t milliseconds) {
    const ErrnoKeeper keeper;
    timespec left{static_cast<time_t>(milliseconds / 1000),
                  static_cast<long>(milliseconds % 1000) * 1'000'000};
    while (sys::clock_nanosleep(CLOCK_MONOTONIC, 0, &left, &left) == EINTR) {
    }
}

} // namespace em

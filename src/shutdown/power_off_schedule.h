// The arithmetic of the scheduled power-off: pure, on the wall clock's time of day.
#pragma once

#include <cstdint>
#include <ctime>
#include <optional>

#include "contract/settings.h"

namespace em {

struct OffTime {
    unsigned hour;
    unsigned minute;
};

// The host's answer for a week day: minutes behind local midnight in its low 16 bits, kNoPowerOffTime for
// none. A value of 1440 or more is a time that no clock shows.
constexpr std::optional<OffTime> offTimeOf(uint32_t answer) {
    const uint32_t minutes = answer & 0xFFFF;
    if (minutes == kNoPowerOffTime) {
        return std::nullopt;
    }
    return OffTime{minutes / 60, minutes % 60};
}

// Exact to the minute: a minute that no pass sees is missed for the day.
constexpr bool isReached(const OffTime& off, const tm& local) {
    return off.hour == static_cast<unsigned>(local.tm_hour) &&
           off.minute == static_cast<unsigned>(local.tm_min);
}

constexpr unsigned kPassSeconds = 30;
// Longer than a minute, so that the same off time raises no second request.
constexpr unsigned kRaisedSeconds = 91;

constexpr unsigned sleepSeconds(bool raised) {
    return raised ? kRaisedSeconds : kPassSeconds;
}

} // namespace em

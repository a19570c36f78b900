// What a host writes in front of a line of the trace: when, and by which process, where it tells.
#pragma once

#include <optional>
#include <string_view>

namespace volad_dev {

struct TraceTime {
    enum class Clock {
        Date,           // seconds since 1970 of the zone that is named, UTC where none is
        DateOfSomeYear, // the same of a year that is not named
        Seconds,        // since a moment that is not known
    };
    Clock clock;
    double seconds;
    std::string_view text; // as it stands in the prefix
};

// Looks for an ISO date and time, for "Nov 25 12:00:00", for seconds with a fraction, in this order.
[[nodiscard]] std::optional<TraceTime> findTime(std::string_view prefix);
// "123" of "volad[123]:"; empty when there is none.
[[nodiscard]] std::string_view findProcess(std::string_view prefix);

// Seconds from one to the other, below 0 where the clock was set back. Nothing where the two were read from
// different clocks.
[[nodiscard]] std::optional<double> secondsBetween(const TraceTime& from, const TraceTime& to);

} // namespace volad_dev

// The time of a run along a line: to scale, but for long waits in which nothing happens. Those are drawn
// shorter, or all else would shrink to a point beside them.
#pragma once

#include <cstddef>
#include <vector>

namespace volad_dev {

class TimeAxis {
public:
    // Times in seconds.
    struct Break {
        double from, to;
    };
    static constexpr size_t kMostBreaks = 4;
    // A wait is long when it is longer than so many seconds, and so many times as long as all that is shorter
    // takes together.
    static constexpr double kLongWait = 5;
    static constexpr double kLongRatio = 10;
    // It is drawn so many times as long as all that is shorter, and as long as so many seconds at least.
    static constexpr double kDrawnRatio = 2;
    static constexpr double kLeastDrawn = 2;

    // All times at which something happens, finite and in any order.
    explicit TimeAxis(std::vector<double> times);

    // From 0 at the first time to 1 at the last; what lies outside is at the nearer end. All is at 0 where
    // there is but one time or none.
    [[nodiscard]] double place(double seconds) const;
    [[nodiscard]] double begin() const { return m_knots.front().seconds; }
    [[nodiscard]] double end() const { return m_knots.back().seconds; }
    [[nodiscard]] const std::vector<Break>& breaks() const { return m_breaks; }

private:
    struct Knot {
        double seconds, drawn;
    };
    std::vector<Knot> m_knots; // one at least
    std::vector<Break> m_breaks;
};

} // namespace volad_dev

#include "host/picture/time_axis.h"

#include <algorithm>
#include <functional>
#include <limits>
#include <numeric>

namespace volad_dev {
namespace {

struct Waits {
    double broken = std::numeric_limits<double>::infinity(); // so long and longer
    double drawn = 0;                                        // that is as long as this
};

// As few of the longest ones as are long against the sum of all others.
Waits findWaits(std::vector<double> gaps) {
    std::sort(gaps.begin(), gaps.end(), std::greater<>());
    for (size_t count = 1; count <= std::min(TimeAxis::kMostBreaks, gaps.size()); ++count) {
        const auto shorter = gaps.begin() + static_cast<std::ptrdiff_t>(count);
        const double others = std::accumulate(shorter, gaps.end(), 0.0);
        const bool alone = shorter == gaps.end() || *shorter < gaps[count - 1];
        if (alone && gaps[count - 1] > std::max(TimeAxis::kLongWait, TimeAxis::kLongRatio * others)) {
            return {gaps[count - 1], std::max(TimeAxis::kLeastDrawn, TimeAxis::kDrawnRatio * others)};
        }
    }
    return {};
}

} // namespace

TimeAxis::TimeAxis(std::vector<double> times) {
    if (times.empty()) {
        times.push_back(0);
    }
    std::sort(times.begin(), times.end());
    std::vector<double> gaps;
    gaps.reserve(times.size());
    for (size_t i = 1; i < times.size(); ++i) {
        gaps.push_back(times[i] - times[i - 1]);
    }
    const Waits waits = findWaits(gaps);
    m_knots.reserve(times.size());
    m_knots.push_back({times.front(), 0});
    for (size_t i = 0; i < gaps.size(); ++i) {
        const bool broken = gaps[i] >= waits.broken;
        if (broken) {
            m_breaks.push_back({times[i], times[i + 1]});
        }
        m_knots.push_back({times[i + 1], m_knots.back().drawn + (broken ? waits.drawn : gaps[i])});
    }
}

double TimeAxis::place(double seconds) const {
    const auto next = std::upper_bound(m_knots.begin(), m_knots.end(), seconds,
                                       [](double time, const Knot& knot) { return time < knot.seconds; });
    if (next == m_knots.begin() || m_knots.back().drawn <= 0) {
        return 0;
    }
    if (next == m_knots.end()) {
        return 1;
    }
    const Knot& last = *(next - 1);
    const double part = (seconds - last.seconds) / (next->seconds - last.seconds);
    return (last.drawn + part * (next->drawn - last.drawn)) / m_knots.back().drawn;
}

} // namespace volad_dev

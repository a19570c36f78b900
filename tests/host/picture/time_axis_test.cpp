#include "host/picture/time_axis.h"

#include <gtest/gtest.h>

#include "host/picture/spread.h"

namespace volad_dev {
namespace {

std::vector<double> everySecond(size_t count) {
    std::vector<double> times(count);
    for (size_t i = 0; i < count; ++i) {
        times[i] = static_cast<double>(i);
    }
    return times;
}

TEST(TimeAxis, IsToScaleButForLongWaits) {
    const struct {
        const char* what;
        std::vector<double> times;
        std::vector<std::pair<double, double>> places, breaks;
    } rows[] = {
        {"nothing", {}, {{0, 0}, {9, 0}}, {}},
        {"one time", {7, 7}, {{7, 0}, {9, 0}}, {}},
        {"to scale, in any order", {4, 0, 1}, {{-1, 0}, {0, 0}, {1, 0.25}, {2, 0.5}, {4, 1}, {9, 1}}, {}},
        {"no long wait", {0, 0.01, 5.01}, {{0.01, 0.01 / 5.01}}, {}},
        {"long, but not beside the others", {0, 1, 11}, {{1, 1 / 11.0}}, {}},
        {"drawn as two seconds at least", {0, 0.5, 600.5}, {{0.5, 0.2}, {300.5, 0.6}}, {{0.5, 600.5}}},
        {"drawn as twice all others", {-10, 0, 600, 610}, {{0, 1 / 6.0}, {600, 5 / 6.0}}, {{0, 600}}},
        {"two of unequal length", {0, 60, 61, 661}, {{60, 0.4}, {61, 0.6}}, {{0, 60}, {61, 661}}},
        {"more of equal length than are broken", {0, 60, 120, 180, 240, 300}, {{60, 0.2}}, {}},
        {"of equal length, all or none",
         {0, 60, 120, 180, 240, 240.1},
         {{240, 8 / 8.1}},
         {{0, 60}, {60, 120}, {120, 180}, {180, 240}}},
    };
    for (const auto& row : rows) {
        const TimeAxis axis(row.times);
        for (const auto& [seconds, place] : row.places) {
            EXPECT_NEAR(axis.place(seconds), place, 1e-9) << row.what << ": " << seconds;
        }
        std::vector<std::pair<double, double>> breaks;
        for (const TimeAxis::Break& found : axis.breaks()) {
            breaks.emplace_back(found.from, found.to);
        }
        EXPECT_EQ(breaks, row.breaks) << row.what;
    }
    EXPECT_TRUE(TimeAxis(everySecond(500)).breaks().empty());
}

TEST(Spread, MovesLabelsApartAndKeepsTheirOrder) {
    const struct {
        std::vector<double> places, spread;
    } rows[] = {
        {{}, {}},
        {{5}, {5}},
        {{-3, 14}, {0, 10}},
        {{0, 0, 0, 9}, {0, 2, 4, 9}},
        {{8, 9, 9.5}, {6, 8, 10}},
        {{0, 0, 9, 10, 10}, {0, 2, 6, 8, 10}},
        {{5, 5, 5, 5, 5, 5, 5, 5, 5, 5, 5}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10}},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(spread(row.places, 2, 10), row.spread);
    }
}

} // namespace
} // namespace volad_dev

#include "base/clock.h"

#include <gtest/gtest.h>

namespace em::test {
namespace {

constexpr int64_t kMs = 1'000'000;

TEST(Deadline, RemainingTimeIsRoundedUpAndBounded) {
    const struct {
        int64_t start;
        uint64_t span;
        int64_t now;
        uint32_t left;
    } cases[] = {
        {0, 1000, 0, 1000},
        {0, 1000, 1, 1000}, // never shorter than asked for
        {0, 1000, 999 * kMs + 1, 1},
        {0, 1000, 1000 * kMs, 0},
        {0, 1000, 5000 * kMs, 0},
        {7, 0, 7, 0},
        {0, 0xFFFFFFFE, 0, 0xFFFFFFFE},
        {0, 0x1'0000'0000, 0, 0xFFFFFFFE}, // 0xFFFFFFFF would mean for ever
    };
    for (const auto& row : cases) {
        EXPECT_EQ(Deadline(row.start, row.span).remainingMs(row.now), row.left);
    }
}

TEST(WaitDeadline, CarriesNanosecondsIntoSeconds) {
    constexpr int64_t beyond32Bits = 0x1'0000'0000;
    const struct {
        timespec now;
        uint32_t timeoutMs;
        timespec end;
    } cases[] = {
        {{100, 600'000'000}, 1'500, {102, 100'000'000}},
        {{100, 600'000'000}, 0, {100, 600'000'000}},
        {{100, 1'000'000}, 999, {101, 0}},
        {{100, 999'999'999}, 0xFFFF'FFFE, {100 + 4'294'967 + 1, 293'999'999}},
        {{beyond32Bits, 0}, 2'000, {beyond32Bits + 2, 0}},
    };
    for (const auto& row : cases) {
        const timespec end = waitDeadline(row.now, row.timeoutMs);
        EXPECT_EQ(end.tv_sec, row.end.tv_sec) << row.timeoutMs;
        EXPECT_EQ(end.tv_nsec, row.end.tv_nsec) << row.timeoutMs;
    }
}

} // namespace
} // namespace em::test

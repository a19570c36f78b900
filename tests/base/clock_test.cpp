#include "base/clock.h"

#include "support/unit_test.h"

namespace em::test {
namespace {

constexpr int64_t kMs = 1'000'000;

TEST(Deadline, RemainingTimeIsRoundedUpAndBounded) {
    // Never shorter than asked for, and never 0xFFFFFFFF, which would mean for ever.
    const std::tuple<int64_t, uint64_t, int64_t, uint32_t> cases[] = {
        {0, 1000, 0, 1000},
        {0, 1000, 1, 1000},
        {0, 1000, 999 * kMs + 1, 1},
        {0, 1000, 1000 * kMs, 0},
        {0, 0xFFFFFFFE, 0, 0xFFFFFFFE},
        {0, 0x1'0000'0000, 0, 0xFFFFFFFE},
    };
    for (const auto& [start, span, now, left] : cases) {
        EXPECT_EQ(Deadline(start, span).remainingMs(now), left);
    }
}

TEST(WaitDeadline, CarriesNanosecondsIntoSeconds) {
    constexpr int64_t beyond32Bits = 0x1'0000'0000;
    const std::tuple<timespec, uint32_t, timespec> cases[] = {
        {{100, 600'000'000}, 1'500, {102, 100'000'000}},
        {{100, 600'000'000}, 0, {100, 600'000'000}},
        {{100, 1'000'000}, 999, {101, 0}},
        {{100, 999'999'999}, 0xFFFF'FFFE, {100 + 4'294'967 + 1, 293'999'999}},
        {{beyond32Bits, 0}, 2'000, {beyond32Bits + 2, 0}},
    };
    for (const auto& [now, timeoutMs, wanted] : cases) {
        const timespec end = waitDeadline(now, timeoutMs);
        EXPECT_TRUE(end.tv_sec == wanted.tv_sec && end.tv_nsec == wanted.tv_nsec) << timeoutMs;
    }
}

} // namespace
} // namespace em::test

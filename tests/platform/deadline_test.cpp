#include "platform/deadline.h"

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

} // namespace
} // namespace em::test

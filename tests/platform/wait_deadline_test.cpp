#include "platform/wait_deadline.h"

#include <gtest/gtest.h>

namespace em {
namespace {

struct Case {
    timespec now;
    uint32_t timeoutMs;
    timespec deadline;
};

TEST(WaitDeadlineTest, CarriesNanosecondsIntoSeconds) {
    constexpr int64_t beyond32Bits = 0x1'0000'0000;
    for (const Case& c : {
             Case{{100, 600'000'000}, 1'500, {102, 100'000'000}},
             {{100, 600'000'000}, 0, {100, 600'000'000}},
             {{100, 999'999'999}, 1, {101, 999'999}},
             {{100, 1'000'000}, 999, {101, 0}},
             {{100, 0}, 999, {100, 999'000'000}},
             {{100, 999'999'999}, 0xFFFF'FFFE, {100 + 4'294'967 + 1, 293'999'999}},
             {{beyond32Bits, 0}, 2'000, {beyond32Bits + 2, 0}},
         }) {
        const timespec deadline = waitDeadline(c.now, c.timeoutMs);
        EXPECT_EQ(deadline.tv_sec, c.deadline.tv_sec) << c.timeoutMs;
        EXPECT_EQ(deadline.tv_nsec, c.deadline.tv_nsec) << c.timeoutMs;
    }
}

} // namespace
} // namespace em

#include "tasks/task_ring.h"

#include <gtest/gtest.h>

#include <array>

namespace em {
namespace {

TEST(TaskRing, HoldsNineInOrderWhereverItWraps) {
    TaskRing ring;
    std::array<int, 100> tasks{};
    size_t read = 0;
    for (size_t written = 0; written < tasks.size(); ++written) {
        if (written >= 9) {
            ASSERT_FALSE(ring.push(&tasks[written])) << "a tenth";
            ASSERT_EQ(ring.pop(), &tasks[read++]);
        }
        ASSERT_TRUE(ring.push(&tasks[written]));
    }
    ring.reset();
    EXPECT_EQ(ring.pop(), nullptr);
    ASSERT_TRUE(ring.push(&tasks[0]));
    EXPECT_EQ(ring.pop(), &tasks[0]);
}

} // namespace
} // namespace em

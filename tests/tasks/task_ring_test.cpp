#include "tasks/task_ring.h"

#include <gtest/gtest.h>

#include <array>

namespace em {
namespace {

TEST(TaskRing, HoldsNineAndRefusesTheTenth) {
    TaskRing ring;
    std::array<int, 10> tasks{};
    for (int at = 0; at < 9; ++at) {
        EXPECT_TRUE(ring.Push(&tasks[static_cast<size_t>(at)])) << at;
    }
    EXPECT_FALSE(ring.Push(&tasks[9]));
    for (int at = 0; at < 9; ++at) {
        EXPECT_EQ(ring.Pop(), &tasks[static_cast<size_t>(at)]);
    }
    EXPECT_EQ(ring.Pop(), nullptr);
    EXPECT_TRUE(ring.IsEmpty());
}

TEST(TaskRing, WrapsAtEveryPositionInOrder) {
    TaskRing ring;
    std::array<int, 100> tasks{};
    size_t written = 0;
    size_t read = 0;
    for (; written < 5; ++written) {
        ASSERT_TRUE(ring.Push(&tasks[written]));
    }
    for (; written < tasks.size(); ++written, ++read) {
        ASSERT_TRUE(ring.Push(&tasks[written]));
        ASSERT_EQ(ring.Pop(), &tasks[read]);
    }
    EXPECT_TRUE(ring.HoldsTask());
    ring.Reset();
    EXPECT_FALSE(ring.HoldsTask());
    ASSERT_TRUE(ring.Push(&tasks[0]));
    EXPECT_EQ(ring.Pop(), &tasks[0]);
}

} // namespace
} // namespace em

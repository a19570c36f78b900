#include <array>
#include <thread>

#include "tasks/recording_serializer.h"

namespace em::test {
namespace {

TEST(TaskSerializerStress, TasksNeverOverlapAndNoneRunsAfterAPurgeUnderFire) {
    Note::alive = 0;
    RecordingSerializer serializer(2);
    std::atomic<int> running{0};
    serializer.execution = [&](Note&, int) {
        EXPECT_EQ(++running, 1) << "two tasks at a time";
        --running;
    };
    serializer.StartSerialization();
    std::atomic<int> accepted{0};
    std::atomic<bool> go{true};
    const auto insertWhileGoing = [&] {
        while (go) {
            accepted += serializer.insert(1, accepted % 2) ? 1 : 0;
            std::this_thread::yield();
        }
    };
    std::array<std::jthread, 4> inserters;
    const auto fire = [&] {
        for (std::jthread& inserter : inserters) {
            inserter = std::jthread(insertWhileGoing);
        }
    };
    fire();
    EXPECT_TRUE(serializer.waitForExecuted(500));
    go = false;
    inserters = {};
    EXPECT_TRUE(serializer.waitForExecuted(static_cast<size_t>(accepted))) << "none is lost";

    go = true;
    fire();
    EXPECT_TRUE(serializer.waitForExecuted(static_cast<size_t>(accepted) + 10));
    serializer.DisableAllTasks();
    serializer.RemoveAllTasks();
    // The one that was running may end; whatever is executed later came out of a disabled queue.
    serializer.TerminateSerialization();
    const size_t executed = serializer.executed().size();
    serializer.StartSerialization();
    go = false;
    inserters = {};
    EXPECT_EQ(serializer.executed().size(), executed);
    EXPECT_EQ(Note::alive, 0);
}

} // namespace
} // namespace em::test

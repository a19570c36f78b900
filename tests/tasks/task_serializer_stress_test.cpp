#include <thread>

#include "tasks/recording_serializer.h"

namespace em::test {
namespace {

constexpr int kInserters = 4;
constexpr auto kSpan = std::chrono::milliseconds(300);

// Inserts from several threads until the span is over, and counts what was accepted.
std::vector<std::thread> startInserters(RecordingSerializer& serializer, std::atomic<int>& accepted) {
    std::vector<std::thread> threads;
    for (int at = 0; at < kInserters; ++at) {
        threads.emplace_back([&serializer, &accepted] {
            const auto end = std::chrono::steady_clock::now() + kSpan;
            while (std::chrono::steady_clock::now() < end) {
                accepted += serializer.insert(1, accepted % 2) ? 1 : 0;
                std::this_thread::yield();
            }
        });
    }
    return threads;
}

TEST(TaskSerializerStress, EveryAcceptedTaskIsExecutedOnce) {
    Note::alive = 0;
    RecordingSerializer serializer(2);
    std::atomic<int> running{0};
    serializer.execution = [&](Note&, int) {
        EXPECT_EQ(++running, 1) << "two tasks at a time";
        --running;
    };
    std::atomic<int> accepted{0};
    auto inserters = startInserters(serializer, accepted);
    serializer.StartSerialization();
    for (std::thread& inserter : inserters) {
        inserter.join();
    }
    EXPECT_TRUE(serializer.waitForExecuted(static_cast<size_t>(accepted.load())));
    serializer.TerminateSerialization();
    EXPECT_EQ(serializer.executed().size(), static_cast<size_t>(accepted.load()));
    EXPECT_GT(accepted, 0);
    EXPECT_EQ(Note::alive, 0);
}

TEST(TaskSerializerStress, NothingIsExecutedAfterAPurgeUnderFire) {
    Note::alive = 0;
    RecordingSerializer serializer(2);
    serializer.StartSerialization();
    std::atomic<int> accepted{0};
    auto inserters = startInserters(serializer, accepted);
    EXPECT_TRUE(serializer.waitForExecuted(10));
    serializer.DisableAllTasks();
    serializer.RemoveAllTasks();
    // The one that was running may end; whatever is executed later came out of a disabled queue.
    serializer.TerminateSerialization();
    const size_t executed = serializer.executed().size();
    serializer.StartSerialization();
    for (std::thread& inserter : inserters) {
        inserter.join();
    }
    EXPECT_EQ(serializer.executed().size(), executed);
    EXPECT_EQ(Note::alive, 0);
}

} // namespace
} // namespace em::test

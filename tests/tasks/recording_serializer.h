// A serializer that records what it is asked to execute, and a message that counts its copies.
#pragma once

#include "support/unit_test.h"
#include "tasks/task_serializer.h"

namespace em::test {

struct Note {
    int number = 0;
    std::function<void()> whenCopied = [] {};

    explicit Note(int value) : number(value) { ++alive; }
    Note(const Note& other) : number(other.number) {
        ++alive;
        ++copies;
        other.whenCopied();
    }
    Note& operator=(const Note&) = delete;
    ~Note() { --alive; }

    static inline std::atomic<int> alive{0};
    static inline std::atomic<int> copies{0};
};

class RecordingSerializer : public CTaskSerializer<Note> {
public:
    using CTaskSerializer::CTaskSerializer;
    ~RecordingSerializer() override { TerminateSerialization(); }

    void OnTaskExecution(Note& note, int level) override {
        {
            const std::lock_guard guard(m_mutex);
            m_executed.push_back(note.number);
        }
        m_changed.notify_all();
        execution(note, level);
    }
    void OnTaskQueueEmpty(int level) override { queueEmpty(level); }
    void OnTaskQueueFull(const Note& note, int level) override {
        ++refusals;
        queueFull(note, level);
    }
    void OnTaskHandlerStart() override { ++starts; }
    void OnTaskHandlerExit() override { ++exits; }

    bool insert(int number, int level = 0, EventHandle* event = nullptr) {
        return InsertTask(Note(number), level, event);
    }
    // The first so many, which the queue has room for.
    void fill(int last) {
        for (int number = 1; number <= last; ++number) {
            EXPECT_TRUE(insert(number)) << number;
        }
    }
    bool waitForExecuted(size_t count) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(10), [&] { return m_executed.size() >= count; });
    }
    std::vector<int> executed() {
        const std::lock_guard guard(m_mutex);
        return m_executed;
    }

    std::function<void(Note&, int)> execution = [](Note&, int) {};
    std::function<void(int)> queueEmpty = [](int) {};
    std::function<void(const Note&, int)> queueFull = [](const Note&, int) {};
    std::atomic<int> refusals{0};
    std::atomic<int> starts{0};
    std::atomic<int> exits{0};

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<int> m_executed;
};

struct TaskSerializerTest : testing::Test {
    TaskSerializerTest() {
        Note::alive = 0;
        Note::copies = 0;
    }
    ~TaskSerializerTest() override { EXPECT_EQ(Note::alive, 0) << "a record was not freed"; }

    [[nodiscard]] static size_t count(std::string_view part) { return recording().count(part); }

    TraceCapture capture{5};
    fake::Scope scope;
};

} // namespace em::test

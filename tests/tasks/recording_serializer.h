// A serializer that records what it is asked to execute, and a message that counts its copies.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "base/system_fake.h"
#include "support/trace_capture.h"
#include "tasks/task_serializer.h"

namespace em::test {

struct Note {
    int number = 0;
    std::function<void()> whenCopied;

    explicit Note(int value, std::function<void()> hook = {}) : number(value), whenCopied(std::move(hook)) {
        ++alive;
    }
    Note(const Note& other) : number(other.number) {
        ++alive;
        ++copies;
        if (other.whenCopied) {
            other.whenCopied();
        }
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
        if (execution) {
            execution(note, level);
        }
    }
    void OnTaskQueueEmpty(int level) override {
        if (queueEmpty) {
            queueEmpty(level);
        }
    }
    void OnTaskQueueFull(const Note& note, int level) override {
        ++refusals;
        if (queueFull) {
            queueFull(note, level);
        }
    }
    void OnTaskHandlerStart() override { ++starts; }
    void OnTaskHandlerExit() override { ++exits; }

    bool insert(int number, int level = 0, EventHandle* event = nullptr) {
        const Note note(number);
        return InsertTask(note, level, event);
    }
    bool waitForExecuted(size_t count) {
        std::unique_lock lock(m_mutex);
        return m_changed.wait_for(lock, std::chrono::seconds(10), [&] { return m_executed.size() >= count; });
    }
    std::vector<int> executed() {
        const std::lock_guard guard(m_mutex);
        return m_executed;
    }

    std::function<void(Note&, int)> execution;
    std::function<void(int)> queueEmpty;
    std::function<void(const Note&, int)> queueFull;
    std::atomic<int> refusals{0};
    std::atomic<int> starts{0};
    std::atomic<int> exits{0};

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    std::vector<int> m_executed;
};

class TaskSerializerTest : public testing::Test {
protected:
    TaskSerializerTest() {
        Note::alive = 0;
        Note::copies = 0;
    }
    ~TaskSerializerTest() override { EXPECT_EQ(Note::alive, 0) << "a record was not freed"; }

    [[nodiscard]] int count(const char* part) const {
        int found = 0;
        for (const TraceLine& line : capture.lines()) {
            found += line.text.find(part) != std::string::npos ? 1 : 0;
        }
        return found;
    }

    TraceCapture capture{5};
    fake::Scope scope;
};

} // namespace em::test

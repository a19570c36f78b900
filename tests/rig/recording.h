// Everything that the module says while a test runs, in the order in which it says it: the lines that it
// hands to the debug object and the calls that it makes on the host.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace em::test {

enum class Kind { Trace, Print, HostCall };

struct Record {
    Kind kind;
    std::string text; // a line with its newlines, or "<slot or time> <argument>" of a host call
    pid_t thread;
};

// "\n" as the two characters that a reader and a data file show.
std::string withVisibleNewlines(std::string_view text);

class Recording {
public:
    // Any thread. The record is there, and waiters are woken, before this throws what a test asked for.
    void add(Kind kind, const std::string& text) {
        std::unique_lock guard(m_mutex);
        bool thrown = !m_throwOn.empty() && text.find(m_throwOn) != std::string::npos;
        if (kind != Kind::HostCall && m_linesToThrow != 0 && --m_linesToThrow == 0) {
            m_thrown = text;
            thrown = true;
        }
        m_records.push_back({kind, text, ::gettid()});
        const auto hook = m_hook;
        guard.unlock();
        m_added.notify_all();
        if (hook) {
            hook(text);
        }
        if (thrown) {
            throw std::runtime_error("thrown at: " + text);
        }
    }
    void clear() {
        const std::lock_guard guard(m_mutex);
        m_records = {}; // their memory, too: a run may last for hours
    }
    // From now on a record that contains the text is thrown back at the module. An empty text ends that.
    void throwOn(std::string_view part) {
        const std::lock_guard guard(m_mutex);
        m_throwOn = part;
    }
    // The same for the line of that number, 1 = the next one, 0 = none. Host calls do not count.
    void throwAt(size_t line) {
        const std::lock_guard guard(m_mutex);
        m_linesToThrow = line;
        m_thrown.clear();
    }
    // The line of throwAt; empty as long as it has not come.
    [[nodiscard]] std::string thrownLine() const {
        const std::lock_guard guard(m_mutex);
        return m_thrown;
    }
    // Called behind each record, on the module's thread, which it may hold up; null ends that.
    void onLine(std::function<void(const std::string&)> hook) {
        const std::lock_guard guard(m_mutex);
        m_hook = std::move(hook);
    }

    [[nodiscard]] std::vector<Record> all() const {
        const std::lock_guard guard(m_mutex);
        return m_records;
    }
    // Of at least one.
    [[nodiscard]] Record last() const {
        const std::lock_guard guard(m_mutex);
        return m_records.back();
    }
    [[nodiscard]] std::vector<Record> lines() const {
        std::vector<Record> lines = all();
        std::erase_if(lines, [](const Record& record) { return record.kind == Kind::HostCall; });
        return lines;
    }
    [[nodiscard]] std::vector<std::string> hostCalls() const {
        std::vector<std::string> calls;
        for (const Record& record : all()) {
            if (record.kind == Kind::HostCall) {
                calls.push_back(record.text);
            }
        }
        return calls;
    }
    [[nodiscard]] size_t count(std::string_view part) const {
        const std::lock_guard guard(m_mutex);
        return countLocked(part);
    }
    [[nodiscard]] bool contains(std::string_view part) const { return count(part) != 0; }
    // Whether the text has been said `times` times, now or before the limit.
    [[nodiscard]] bool waitFor(std::string_view part, size_t times = 1,
                               std::chrono::milliseconds limit = std::chrono::seconds(15)) const {
        std::unique_lock guard(m_mutex);
        return m_added.wait_for(guard, limit, [&] { return countLocked(part) >= times; });
    }
    // Everything, one record a line with its newlines shown: for a failed test's message.
    [[nodiscard]] std::string shown() const {
        std::string text;
        for (const Record& record : all()) {
            text += std::to_string(record.thread) + (record.kind == Kind::HostCall ? " > " : "   ") +
                    withVisibleNewlines(record.text) + "\n";
        }
        return text;
    }

private:
    size_t countLocked(std::string_view part) const {
        return static_cast<size_t>(
            std::count_if(m_records.begin(), m_records.end(),
                          [&](const Record& record) { return record.text.find(part) != std::string::npos; }));
    }

    mutable std::mutex m_mutex;
    mutable std::condition_variable m_added;
    std::vector<Record> m_records;
    std::string m_throwOn;
    size_t m_linesToThrow = 0; // down to the line that is thrown
    std::string m_thrown;
    std::function<void(const std::string&)> m_hook;
};

// The process's one: the debug object, which the module finds by its symbol, has no other way to it.
Recording& recording();

// The debug object of the host process, which the module finds by the symbol "Debug" alone: it calls three of
// the slots. What it gets goes into the recording.
class RecordingDebugObject final {
public:
    virtual void unusedSlot0() {}
    virtual void unusedSlot1() {}
    virtual bool isOutputSink() { return true; }
    virtual void unusedSlot3() {}
    virtual void unusedSlot4() {}
    virtual void unusedSlot5() {}
    virtual void unusedSlot6() {}
    [[gnu::format(printf, 2, 0)]] virtual void print(const char* format, va_list arguments,
                                                     const char* module);
    [[gnu::format(printf, 2, 0)]] virtual void trace(const char* format, va_list arguments,
                                                     const char* module);
};

} // namespace em::test

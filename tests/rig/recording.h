// Everything that the module says while a test runs, in the order in which it says it: the lines that it
// hands to the debug object and the calls that it makes on the host.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <cstdarg>
#include <functional>
#include <mutex>
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

class Recording {
public:
    // Any thread. The record is there, and waiters are woken, before this throws what a test asked for.
    void add(Kind kind, const std::string& text);
    void clear();
    // From now on a record that contains the text is thrown back at the module. An empty text ends that.
    void throwOn(std::string_view part);
    // The same for the line of that number, 1 = the next one, 0 = none. Host calls do not count.
    void throwAt(size_t line);
    // The line of throwAt; empty as long as it has not come.
    [[nodiscard]] std::string thrownLine() const;
    // Called behind each record, on the module's thread, which it may hold up; null ends that.
    void onLine(std::function<void(const std::string&)> hook);

    [[nodiscard]] std::vector<Record> all() const;
    [[nodiscard]] std::vector<Record> lines() const;
    [[nodiscard]] std::vector<std::string> hostCalls() const;
    [[nodiscard]] size_t count(std::string_view part) const;
    [[nodiscard]] bool contains(std::string_view part) const { return count(part) != 0; }
    // Whether the text has been said `times` times, now or before the limit.
    [[nodiscard]] bool waitFor(std::string_view part, size_t times = 1,
                               std::chrono::milliseconds limit = std::chrono::seconds(15)) const;
    // Everything, one record a line with its newlines shown: for a failed test's message.
    [[nodiscard]] std::string shown() const;

private:
    size_t countLocked(std::string_view part) const;

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

// "\n" as the two characters that a reader and a data file show.
std::string withVisibleNewlines(std::string_view text);

} // namespace em::test

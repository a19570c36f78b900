// What the trace hands to the host's debug object, for tests of every component that writes lines. One
// recording debug object stands in for the host's in the whole process, since the trace keeps the first one
// it finds for good; a capture attaches to it.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace em::test {

struct TraceLine {
    std::string text;   // formatted, its leading newline included
    unsigned slot = 0;  // of the debug object: 8 for Trace, 7 for Print and PrintTagged
    std::string module; // the module name handed over
    std::thread::id thread;
};

// Switches the trace on at this level for its lifetime, and off at its end. One at a time; any thread may
// write and ask. Construct it before calls are scripted to fail: it configures the trace through the fake.
class TraceCapture {
public:
    explicit TraceCapture(uint32_t level);
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    [[nodiscard]] std::vector<TraceLine> lines() const;
    // All lines in the order of their writing, as the host would see them.
    [[nodiscard]] std::string text() const;
    [[nodiscard]] bool contains(std::string_view part) const;
    void clear();

    // From now on each line that contains the text is recorded and then thrown at its writer as a
    // std::runtime_error. An empty text ends that.
    void throwOn(std::string_view part);
    // The same for the line of that number, 1 = the next one; thrownLine() is empty as long as it has not
    // come.
    void throwAt(size_t number);
    [[nodiscard]] std::string thrownLine() const;

    // Waits until a line contains the text, one that was written before included. False at the time-out.
    [[nodiscard]] bool WaitForLine(std::string_view part,
                                   std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;
};

} // namespace em::test

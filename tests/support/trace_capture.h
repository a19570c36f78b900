// What the trace hands to the host's debug object, for tests of every component that writes lines. It goes
// into the rig's recording, with the calls on a scripted host.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "rig/recording.h"

namespace em::test {

using TraceLine = Record;

// Empties the recording and switches the trace on at this level for its lifetime, and off at its end. One at
// a time; any thread may write and ask. Construct it before calls are scripted to fail: it configures the
// trace through the fake.
class TraceCapture {
public:
    explicit TraceCapture(uint32_t level);
    ~TraceCapture();
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    [[nodiscard]] std::vector<TraceLine> lines() const { return recording().lines(); }
    // All lines in the order of their writing, as the host would see them.
    [[nodiscard]] std::string text() const;
    [[nodiscard]] bool contains(std::string_view part) const { return recording().contains(part); }
    void clear() { recording().clear(); }
    // Each line that contains the text is recorded and then thrown at its writer. An empty text ends that.
    void throwOn(std::string_view part) { recording().throwOn(part); }
    // Waits until a line contains the text, one that was written before included. False at the time-out.
    [[nodiscard]] bool WaitForLine(std::string_view part,
                                   std::chrono::milliseconds timeout = std::chrono::seconds(10)) const {
        return recording().waitFor(part, 1, timeout);
    }
};

} // namespace em::test

// What the trace hands to the host's debug object, for tests of every component that writes lines. It goes
// into the rig's recording, with the calls on a scripted host.
#pragma once

#include <cstdlib>

#include "base/system_fake.h"
#include "contract/places.h"
#include "rig/recording.h"
#include "trace/debug_client.h"

namespace em::test {

using TraceLine = Record;

// Empties the recording and switches the trace on at this level for its lifetime, and off at its end. One at
// a time; any thread may write and ask. Construct it before calls are scripted to fail: it configures the
// trace through the fake.
class TraceCapture {
public:
    explicit TraceCapture(uint32_t level) {
        // Threads that outlive a test may still write at the process's end, so it is never destroyed.
        static RecordingDebugObject& debugObject = *new RecordingDebugObject;
        fake::setSymbol("Debug", &debugObject);
        // The trace finds the recorder by this line, so that a test may reset the fake's script afterwards.
        processTrace.value.Print("%s", "");
        startAnew();
        configureLevel(level);
    }
    ~TraceCapture() {
        configureLevel(0);
        startAnew();
    }
    TraceCapture(const TraceCapture&) = delete;
    TraceCapture& operator=(const TraceCapture&) = delete;

    [[nodiscard]] std::vector<TraceLine> lines() const { return recording().lines(); }
    // All lines in the order of their writing, as the host would see them, but for those with this in them.
    [[nodiscard]] std::string text(std::string_view leftOut = {}) const {
        std::string all;
        for (const TraceLine& line : lines()) {
            const bool left = !leftOut.empty() && line.text.find(leftOut) != std::string::npos;
            all += left ? "" : line.text;
        }
        return all;
    }
    [[nodiscard]] bool contains(std::string_view part) const { return recording().contains(part); }
    void clear() { recording().clear(); }
    // Each line that contains the text is recorded and then thrown at its writer. An empty text ends that.
    void throwOn(std::string_view part) { recording().throwOn(part); }
    // Waits until a line contains the text, one that was written before included. False at the time-out.
    [[nodiscard]] bool WaitForLine(std::string_view part,
                                   std::chrono::milliseconds timeout = std::chrono::seconds(10)) const {
        return recording().waitFor(part, 1, timeout);
    }

private:
    // Through the environment alone, as with no configuration directory; the caller's own setting is put
    // back.
    static void configureLevel(uint32_t level) {
        constexpr const char* kVariable = "TM_LOG_DEBUG_LEVEL";
        // No trace configuration of this machine has a say in a test.
        fake::setPath(place::kTraceConfigDirectory, "/nonexistent");
        const char* const value = std::getenv(kVariable);
        const std::string former = value == nullptr ? "" : value;
        ::setenv(kVariable, std::to_string(level).c_str(), 1);
        static_cast<void>(processTrace.value.Configure("EM_SHUTDOWN"));
        if (value == nullptr) {
            ::unsetenv(kVariable);
        } else {
            ::setenv(kVariable, former.c_str(), 1);
        }
    }
    static void startAnew() {
        recording().throwOn("");
        recording().throwAt(0);
        recording().clear();
    }
};

} // namespace em::test

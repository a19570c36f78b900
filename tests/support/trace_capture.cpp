#include "support/trace_capture.h"

#include <cstdlib>

#include "base/system_fake.h"
#include "contract/places.h"
#include "trace/debug_client.h"

namespace em::test {
namespace {

// Threads that outlive a test may still write at the process's end, so it is never destroyed.
void* debugObject() {
    static RecordingDebugObject& instance = *new RecordingDebugObject;
    return &instance;
}

// Through the environment alone, as with no configuration directory; the caller's own setting is put back.
void configureLevel(uint32_t level) {
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

void startAnew() {
    recording().throwOn("");
    recording().throwAt(0);
    recording().clear();
}

} // namespace

TraceCapture::TraceCapture(uint32_t level) {
    fake::setSymbol("Debug", debugObject());
    // The trace finds the recorder by this line, so that a test may reset the fake's script afterwards.
    processTrace.value.Print("%s", "");
    startAnew();
    configureLevel(level);
}

TraceCapture::~TraceCapture() {
    configureLevel(0);
    startAnew();
}

std::string TraceCapture::text() const {
    std::string all;
    for (const TraceLine& line : lines()) {
        all += line.text;
    }
    return all;
}

} // namespace em::test

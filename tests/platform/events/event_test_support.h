// Shared by the tests of events.
#pragma once

#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <thread>

#include "base/system_fake.h"
#include "platform/events/event_handle.h"
#include "support/trace_capture.h"

namespace em::test {

constexpr uint32_t kLongMs = 60'000; // a wait that a test must end by other means

class EventTest : public testing::Test {
protected:
    // All lines since the last call, addresses as "@" and the clock's seconds and nanoseconds as "#".
    std::string takeLines() {
        std::string text;
        for (const TraceLine& line : m_trace.lines()) {
            const std::string named = std::regex_replace(line.text, std::regex("0x[0-9a-f]+"), "@");
            text += std::regex_replace(named, std::regex("sec=[0-9]+"), "sec=#");
        }
        m_trace.clear();
        return text;
    }
    // Returns once a thread is blocked in a wait of kLongMs: it writes that line under the event's mutex, so
    // a set or pulse that comes after it finds the thread waiting.
    void waitUntilBlocked() { ASSERT_TRUE(m_trace.WaitForLine("prepare time for waiting")); }

    fake::Scope m_script;
    TraceCapture m_trace{5};
};

} // namespace em::test

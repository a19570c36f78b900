// The watcher where only a failing call of the system shows it.
#include <gtest/gtest.h>

#include <cerrno>

#include "base/system_fake.h"
#include "shutdown/shutdown_module.h"
#include "support/trace_capture.h"

namespace em::test {
namespace {

TEST(Watcher, ThatCannotBeStartedIsReportedAndGoneWithout) {
    const fake::Scope scope;
    const TraceCapture trace(1);
    CShutdownExtensionModule module;
    fake::failNth("pthread_create", 1, EAGAIN);
    module.AfterStart();
    EXPECT_TRUE(trace.contains("\n\nEM_SHUTDOWN           : ## ERROR 0xB! Failed to start check maintenance "
                               "mode thread (Resource temporarily unavailable)!"))
        << trace.text();
}

} // namespace
} // namespace em::test

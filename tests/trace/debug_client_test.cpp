#include "trace/debug_client.h"

#include <gtest/gtest.h>
#include <syslog.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/base/system_twin.h"
#include "support/environment.h"
#include "support/trace_capture.h"
#include "trace/trace.h"

namespace em {
namespace {

// A debug object of its own for each test: the first word, then what the table's functions work on.
struct HostDebug {
    using Slot = void (*)();
    Slot* firstWord = nullptr;
    std::array<Slot, 9> table{};
    bool sink = true;
    int asked = 0;
    bool throws = false;
    std::vector<std::string> written; // "slot|module|text"
    std::vector<int> errorsSeen;      // errno at each line

    HostDebug() {
        table[2] = reinterpret_cast<Slot>(&isOutputSink);
        table[7] = reinterpret_cast<Slot>(&write<7>);
        table[8] = reinterpret_cast<Slot>(&write<8>);
        firstWord = table.data();
        twin::setSymbol("Debug", this);
    }

    static bool isOutputSink(HostDebug* self) {
        ++self->asked;
        return self->sink;
    }

    template <int SlotNumber>
    __attribute__((format(printf, 2, 0))) static void write(HostDebug* self, const char* format,
                                                            va_list arguments, const char* module) {
        self->errorsSeen.push_back(errno);
        std::array<char, 2048> text;
        std::vsnprintf(text.data(), text.size(), format, arguments);
        self->written.push_back(std::to_string(SlotNumber) + "|" + module + "|" + text.data());
        errno = EPIPE;
        if (self->throws) {
            throw std::runtime_error("debug object");
        }
    }
};

using Lines = std::vector<std::string>;

class DebugClientTest : public testing::Test {
protected:
    DebugClientTest() {
        twin::setPath("traceConfigDirectory", "/nonexistent");
        configure("3");
    }
    ~DebugClientTest() override { test::unsetEnvironment("TM_LOG_DEBUG_LEVEL"); }

    void configure(const char* level, const char* module = "EM_SHUTDOWN") {
        test::setEnvironment("TM_LOG_DEBUG_LEVEL", level);
        ASSERT_TRUE(m_Client.Configure(module));
    }

    const twin::Scope m_Script;
    CDebugClient m_Client;
};

TEST_F(DebugClientTest, HandsLinesUpToTheLevelToTheHost) {
    HostDebug host;
    m_Client.Trace(3, "\n%s %d", "three", 3);
    m_Client.Trace(4, "\nfour");
    m_Client.Trace(1, nullptr);
    m_Client.Print("\nprint %x", 255);
    m_Client.PrintTagged(0, "\ntagged %s %s", "a", "b");
    EXPECT_EQ(host.written,
              (Lines{"8|EM_SHUTDOWN|\nthree 3", "7|EM_SHUTDOWN|\nprint ff", "7|EM_SHUTDOWN|\ntagged a b"}));
}

TEST_F(DebugClientTest, PrintsWhileTheTraceIsOff) {
    HostDebug host;
    configure("0", "EM_OTHER");
    m_Client.Trace(1, "\nno");
    m_Client.PrintTagged(7, "\nyes");
    EXPECT_EQ(host.written, (Lines{"7|EM_OTHER|\nyes"}));
    EXPECT_TRUE(twin::logRecords().empty());
}

TEST_F(DebugClientTest, PassesAnEmptyNameBeforeItIsConfigured) {
    HostDebug host;
    CDebugClient fresh;
    fresh.Print("x");
    EXPECT_EQ(host.written, (Lines{"7||x"}));
}

TEST_F(DebugClientTest, AsksTheHostOnceAndKeepsIt) {
    HostDebug host;
    m_Client.Trace(1, "a");
    host.sink = false;
    HostDebug other; // takes the symbol over
    m_Client.Trace(1, "b");
    EXPECT_EQ(host.asked, 1);
    EXPECT_EQ(host.written.size(), 2U);
    EXPECT_TRUE(other.written.empty());
}

TEST_F(DebugClientTest, LooksAgainOnEachLineUntilTheObjectQualifies) {
    HostDebug host;
    host.sink = false;
    m_Client.Trace(1, "lost");
    EXPECT_EQ(host.asked, 2) << "in both scopes";
    host.firstWord = nullptr;
    m_Client.Trace(1, "lost too");
    host.firstWord = host.table.data();
    host.sink = true;
    m_Client.Trace(1, "seen");
    EXPECT_EQ(host.written, (Lines{"8|EM_SHUTDOWN|seen"}));
}

TEST_F(DebugClientTest, TakesNoObjectOfItsOwnLibrary) {
    HostDebug host;
    twin::setSymbol("Debug", &host, twin::Object::Own);
    m_Client.Trace(1, "lost");
    EXPECT_EQ(host.asked, 0);
    EXPECT_TRUE(host.written.empty());
}

TEST_F(DebugClientTest, WritesLevelZeroToTheSystemLogToo) {
    HostDebug host;
    m_Client.Trace(0, "\n\nShutdown %d", 1);
    m_Client.Trace(1, "\nnot logged");
    m_Client.Trace(0, nullptr);
    ASSERT_EQ(twin::logRecords().size(), 1U);
    EXPECT_EQ(twin::logRecords()[0].text, "Shutdown 1");
    EXPECT_EQ(twin::logRecords()[0].priority, LOG_INFO);
    EXPECT_EQ(host.written[0], "8|EM_SHUTDOWN|\n\nShutdown 1");
}

TEST_F(DebugClientTest, LogsLevelZeroWithoutADebugObjectAndAtLevelZero) {
    twin::setSymbol("Debug", nullptr);
    configure("0");
    m_Client.Trace(0, "\nalone");
    ASSERT_EQ(twin::logRecords().size(), 1U);
    EXPECT_EQ(twin::logRecords()[0].text, "alone");
}

TEST_F(DebugClientTest, LeavesErrnoAloneAndShowsItAsItWasAtTheCall) {
    HostDebug host;
    for (const uint32_t level : {0U, 1U, 9U}) {
        errno = ENOENT;
        m_Client.Trace(level, "\n%%m");
        EXPECT_EQ(errno, ENOENT);
    }
    m_Client.Print("x");
    EXPECT_EQ(errno, ENOENT);
    m_Client.PrintTagged(0, "x");
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(host.errorsSeen, (std::vector<int>{ENOENT, ENOENT, ENOENT, ENOENT}));
    EXPECT_EQ(twin::logRecords().at(0).text, "No such file or directory");
}

TEST_F(DebugClientTest, LetsTheDebugObjectsExceptionThrough) {
    HostDebug host;
    host.throws = true;
    EXPECT_THROW(m_Client.Trace(1, "x"), std::runtime_error);
    EXPECT_THROW(m_Client.Trace(0, "x"), std::runtime_error);
    EXPECT_THROW(m_Client.PrintTagged(0, "x"), std::runtime_error);
    host.throws = false;
    m_Client.Trace(1, "goes on");
    EXPECT_EQ(host.written.back(), "8|EM_SHUTDOWN|goes on");
}

TEST(Trace, EvaluatesNoArgumentWhileItIsOff) {
    int evaluated = 0;
    EM_TRACE(1, "%d", ++evaluated);
    EM_TRACE_QUIETLY(1, "%d", ++evaluated);
    EXPECT_FALSE(traceWillWrite(1));
    EXPECT_EQ(evaluated, 0);

    test::TraceCapture capture(2);
    EM_TRACE(2, "\n%d", ++evaluated);
    EM_TRACE(3, "\nabove");
    EXPECT_TRUE(traceWillWrite(2));
    EXPECT_FALSE(traceWillWrite(3));
    EXPECT_EQ(capture.text(), "\n1");
}

TEST(Trace, PassesExceptionsOnUnlessQuiet) {
    test::TraceCapture capture(1);
    capture.throwOn("refused");
    const auto write = [] { EM_TRACE(1, "\nrefused"); };
    EXPECT_THROW(write(), std::runtime_error);
    EM_TRACE_QUIETLY(1, "\nrefused");
    EXPECT_EQ(capture.text(), "\nrefused\nrefused");
}

// For the thread sanitizer: lines, a dynamic update on every line and new configurations at the same time.
TEST_F(DebugClientTest, MayBeConfiguredWhileOtherThreadsWrite) {
    const test::TraceCapture capture(1); // keeps lines of several threads apart
    CDebugClient client;
    test::setEnvironment("TM_LOG_DYNAMIC_UPDATE", "1");
    test::setEnvironment("TM_LOG_DEBUG_LEVEL", "1");
    ASSERT_TRUE(client.Configure("first"));
    std::atomic<bool> done{false};
    std::vector<std::thread> writers;
    writers.reserve(3);
    for (int i = 0; i < 3; ++i) {
        writers.emplace_back([&] {
            while (!done) {
                client.Trace(2, "\nabove the level");
                client.Trace(1, "\n%s", client.ModuleName());
            }
        });
    }
    ASSERT_TRUE(capture.WaitForLine("first"));
    for (time_t now = 1; now < 200; ++now) {
        twin::setWallClock(now * 10);
        ASSERT_TRUE(client.Configure(now % 2 == 0 ? "first" : "second"));
    }
    EXPECT_TRUE(capture.WaitForLine("second"));
    done = true;
    for (std::thread& writer : writers) {
        writer.join();
    }
    test::unsetEnvironment("TM_LOG_DYNAMIC_UPDATE");
}

} // namespace
} // namespace em

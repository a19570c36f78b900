#include "trace/debug_client.h"

#include <cstdarg>
#include <cstdio>

#include "support/unit_test.h"
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
    std::vector<std::string> written; // "slot|module|text"
    std::vector<int> errorsSeen;      // errno at each line

    HostDebug() {
        table[2] = reinterpret_cast<Slot>(&isOutputSink);
        table[7] = reinterpret_cast<Slot>(&write<7>);
        table[8] = reinterpret_cast<Slot>(&write<8>);
        firstWord = table.data();
        fake::setSymbol("Debug", this);
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
    }
};

using Lines = std::vector<std::string>;

struct DebugClientTest : testing::Test {
    DebugClientTest() {
        fake::setPath(place::kTraceConfigDirectory, "/nonexistent");
        configure("3");
    }
    ~DebugClientTest() override { ::unsetenv("TM_LOG_DEBUG_LEVEL"); }

    void configure(const char* level, const char* module = "EM_SHUTDOWN") {
        ::setenv("TM_LOG_DEBUG_LEVEL", level, 1);
        ASSERT_TRUE(m_client.Configure(module));
    }

    const fake::Scope m_script;
    CDebugClient m_client;
};

TEST_F(DebugClientTest, HandsLinesUpToTheLevelAndAllPrintsToTheHost) {
    HostDebug host;
    m_client.Trace(3, "\n%s %d", "three", 3);
    m_client.Trace(4, "\nfour");
    m_client.Trace(1, nullptr);
    m_client.Print("\nprint %x", 255);
    configure("0", "EM_OTHER");
    m_client.Trace(1, "\noff");
    m_client.PrintTagged(7, "\ntagged %s %s", "a", "b");
    CDebugClient().Print("not configured");
    EXPECT_EQ(host.written, (Lines{"8|EM_SHUTDOWN|\nthree 3", "7|EM_SHUTDOWN|\nprint ff",
                                   "7|EM_OTHER|\ntagged a b", "7|EM_SHUTDOWN|not configured"}));
    EXPECT_TRUE(fake::logRecords().empty());
}

TEST_F(DebugClientTest, LooksAgainOnEachLineUntilTheObjectQualifiesAndKeepsThatOne) {
    HostDebug host;
    host.sink = false;
    m_client.Trace(1, "lost");
    EXPECT_EQ(host.asked, 2) << "in both scopes";
    host.sink = true;
    host.firstWord = nullptr;
    m_client.Trace(1, "lost too");
    host.firstWord = host.table.data();
    fake::setSymbol("Debug", &host, fake::Object::Own);
    m_client.Trace(1, "no object of its own library");
    fake::setSymbol("Debug", &host);
    m_client.Trace(1, "seen");
    host.sink = false;
    const HostDebug other; // takes the symbol over
    m_client.Trace(1, "kept");
    EXPECT_EQ(host.written, (Lines{"8|EM_SHUTDOWN|seen", "8|EM_SHUTDOWN|kept"}));
    EXPECT_EQ(host.asked, 3);
}

TEST_F(DebugClientTest, WritesLevelZeroToTheSystemLogToo) {
    fake::setSymbol("Debug", nullptr);
    configure("0");
    m_client.Trace(0, "\nwithout a debug object");
    HostDebug host;
    configure("1");
    m_client.Trace(0, "\n\nShutdown %d", 1);
    m_client.Trace(1, "\nnot logged");
    m_client.Trace(0, nullptr);
    ASSERT_EQ(fake::logRecords().size(), 2U);
    EXPECT_EQ(fake::logRecords()[0].text, "without a debug object");
    EXPECT_EQ(fake::logRecords()[1].text, "Shutdown 1");
    EXPECT_EQ(host.written, (Lines{"8|EM_SHUTDOWN|\n\nShutdown 1", "8|EM_SHUTDOWN|\nnot logged"}));
}

TEST_F(DebugClientTest, LeavesErrnoAloneAndShowsItAsItWasAtTheCall) {
    HostDebug host;
    errno = ENOENT;
    const std::function<void()> lines[] = {
        [&] { m_client.Trace(0, "\n%%m"); },   [&] { m_client.Trace(1, "\n%%m"); },
        [&] { m_client.Trace(9, "\n%%m"); },   [&] { m_client.Print("x"); },
        [&] { m_client.PrintTagged(0, "x"); },
    };
    for (const auto& line : lines) {
        line();
        EXPECT_EQ(errno, ENOENT);
    }
    EXPECT_EQ(host.errorsSeen, (std::vector<int>{ENOENT, ENOENT, ENOENT, ENOENT}));
    EXPECT_EQ(fake::logRecords().at(0).text, "No such file or directory");
}

TEST(Trace, EvaluatesNoArgumentWhileItIsOffAndDropsExceptionsUnlessAskedNotTo) {
    int evaluated = 0;
    EM_TRACE(1, "%d", ++evaluated);
    EM_TRACE(1, "%d", ++evaluated);
    EXPECT_FALSE(traceWillWrite(1));
    EXPECT_EQ(evaluated, 0);

    test::TraceCapture capture(2);
    EXPECT_TRUE(traceWillWrite(2));
    EXPECT_FALSE(traceWillWrite(3));
    capture.throwOn("refused");
    const auto write = [] { EM_TRACE_OR_THROW(2, "\nrefused"); };
    EXPECT_THROW(write(), std::runtime_error);
    EM_TRACE(1, "\nrefused");
    EM_TRACE(3, "\nabove");
    EXPECT_EQ(capture.text(), "\nrefused\nrefused");
}

// For the thread sanitizer: lines, a dynamic update on every line and new configurations at the same time.
TEST_F(DebugClientTest, MayBeConfiguredWhileOtherThreadsWrite) {
    const test::TraceCapture capture(1); // keeps lines of several threads apart
    ::setenv("TM_LOG_DYNAMIC_UPDATE", "1", 1);
    configure("1", "first");
    std::vector<std::jthread> writers;
    for (int i = 0; i < 3; ++i) {
        writers.emplace_back([&](const std::stop_token& stop) {
            while (!stop.stop_requested()) {
                m_client.Trace(2, "\nabove the level");
                m_client.Trace(1, "\n%s", m_client.ModuleName());
            }
        });
    }
    ASSERT_TRUE(capture.WaitForLine("first"));
    for (time_t now = 1; now < 200; ++now) {
        fake::setWallClock(now * 10);
        ASSERT_TRUE(m_client.Configure(now % 2 == 0 ? "first" : "second"));
    }
    EXPECT_TRUE(capture.WaitForLine("second"));
    writers.clear(); // stops and joins
    ::unsetenv("TM_LOG_DYNAMIC_UPDATE");
}

} // namespace
} // namespace em

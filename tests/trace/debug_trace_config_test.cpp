#include "trace/debug_trace_config.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <string>

#include "base/system_fake.h"
#include "contract/places.h"
#include "support/environment.h"
#include "support/temporary_directory.h"

namespace em {
namespace {

constexpr const char* kLevelVariable = "TM_LOG_DEBUG_LEVEL";
constexpr const char* kUpdateVariable = "TM_LOG_DYNAMIC_UPDATE";

using Files = std::map<std::string, std::string>;

std::string closed(const std::string& content) {
    return content + "\n[EndOfFile]\n";
}

class DebugTraceConfigTest : public testing::Test {
protected:
    DebugTraceConfigTest() {
        clearEnvironment();
        fake::setPath(place::kTraceConfigDirectory, m_directory.path());
    }
    ~DebugTraceConfigTest() override { clearEnvironment(); }

    static void clearEnvironment() {
        test::unsetEnvironment(kLevelVariable);
        test::unsetEnvironment(kUpdateVariable);
    }
    void withoutDirectory() { fake::setPath(place::kTraceConfigDirectory, m_directory.pathOf("missing")); }
    // The module's own file, configured at second 1000 with an interval of 30 seconds.
    void configureForUpdates() {
        m_directory.write("global_trace.ini", closed("[GlobalDebugSettings]\nDynamicUpdate=30"), 1000);
        m_directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=2\nTraceFlags=1"), 1000);
        ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
        ASSERT_EQ(m_config.DynamicUpdate(), 30U);
        fake::setWallClock(2000);
        ASSERT_TRUE(m_config.WillWrite(2)); // the first line always looks
    }

    const fake::Scope m_script;
    const test::TemporaryDirectory m_directory;
    CDebugTraceConfig m_config;
};

TEST_F(DebugTraceConfigTest, IsSilentUntilConfiguredForAName) {
    test::setEnvironment(kLevelVariable, "5");
    withoutDirectory();
    EXPECT_FALSE(m_config.Configure(nullptr));
    EXPECT_FALSE(m_config.Configure(""));
    EXPECT_FALSE(m_config.Enabled());
    EXPECT_FALSE(m_config.WillWrite(1));
    EXPECT_STREQ(m_config.ModuleName(), "EM_SHUTDOWN");
    ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
    EXPECT_TRUE(m_config.WillWrite(5));
    EXPECT_FALSE(m_config.WillWrite(6));
    EXPECT_FALSE(m_config.IsOutputSink());
}

TEST_F(DebugTraceConfigTest, TakesTheLevelFromTheFirstFileThatHasTheSection) {
    const char* const three = "[EM_SHUTDOWN]\nFileDebugLevel=0x3";
    const char* const four = "[em_shutdown]\nFileDebugLevel=4";
    const char* const other = "[Other]\nFileDebugLevel=5";
    const struct {
        Files files;
        uint32_t level;
    } cases[] = {
        {{{"b.ini", three}, {"a.ini", four}}, 4},
        {{{"a.ini", three}, {"Z.ini", four}}, 4}, // byte order, not the locale's
        {{{"a.ini", other}, {"b.ini", three}}, 3},
        {{{"a.ini", "[EM_SHUTDOWN]\nOther=1"}, {"b.ini", three}}, 0}, // the section decides, not the key
        {{{"global_trace.ini", three}, {"x.ini", four}}, 3},
        {{{"em.ini.bak", three}}, 3},
        {{{".#em.ini", three}, {"other.ini", other}}, 0}, // an editor's lock file
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.files.begin()->first);
        const test::TemporaryDirectory directory;
        fake::setPath(place::kTraceConfigDirectory, directory.path());
        for (const auto& [name, content] : row.files) {
            directory.write(name, closed(content));
        }
        CDebugTraceConfig config;
        EXPECT_TRUE(config.Configure("EM_SHUTDOWN"));
        EXPECT_EQ(config.Level(), row.level);
        EXPECT_EQ(config.Enabled(), row.level != 0);
    }
}

TEST_F(DebugTraceConfigTest, LetsTheEnvironmentOverrideTheFiles) {
    m_directory.write("global_trace.ini", closed("[GlobalDebugSettings]\nDynamicUpdate=30"));
    m_directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=3\nTraceFlags=0x10"));
    ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
    EXPECT_EQ(m_config.Level(), 3U);
    EXPECT_EQ(m_config.DynamicUpdate(), 30U);
    EXPECT_EQ(m_config.TraceFlags(), 0x10U);
    const struct {
        const char* text;
        uint32_t number;
    } cases[] = {
        {"5", 5},          {"", 0},     // set counts, also to nothing
        {"0x5", 0},        {"010", 10}, // decimal only
        {"4294967297", 1}, {"-1", 0xFFFFFFFF},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.text);
        test::setEnvironment(kLevelVariable, row.text);
        test::setEnvironment(kUpdateVariable, row.text);
        ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
        EXPECT_EQ(m_config.Level(), row.number);
        EXPECT_EQ(m_config.DynamicUpdate(), row.number);
        EXPECT_EQ(m_config.Enabled(), row.number != 0);
    }
}

TEST_F(DebugTraceConfigTest, AsksTheEnvironmentWithoutADirectoryButNotInAnEmptyOne) {
    test::setEnvironment(kLevelVariable, "5");
    m_directory.write("readme.txt", "not counted");
    ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
    EXPECT_FALSE(m_config.Enabled());

    withoutDirectory();
    ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
    EXPECT_EQ(m_config.Level(), 5U);

    // What was configured before stays when the directory holds no file any more.
    fake::setPath(place::kTraceConfigDirectory, m_directory.path());
    test::setEnvironment(kLevelVariable, "2");
    ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
    EXPECT_EQ(m_config.Level(), 5U);
    EXPECT_TRUE(m_config.Enabled());

    // One that cannot be listed counts as missing; the global file has a name of its own.
    m_directory.write("global_trace.ini", closed("[GlobalDebugSettings]\nDynamicUpdate=30"));
    fake::failNth("opendir", 1, EACCES);
    ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
    EXPECT_EQ(m_config.DynamicUpdate(), 30U);
    EXPECT_EQ(m_config.Level(), 2U);
}

TEST_F(DebugTraceConfigTest, ForgetsTheLevelOfTheFormerNameAndKeepsTheRest) {
    m_directory.write("global_trace.ini", closed("[GlobalDebugSettings]\nDynamicUpdate=30"));
    m_directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=3\nTraceFlags=8"));
    ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
    const char* const former = m_config.ModuleName();
    m_directory.write("global_trace.ini", closed("[Other]"));
    ASSERT_TRUE(m_config.Configure("EM_OTHER"));
    EXPECT_STREQ(m_config.ModuleName(), "EM_OTHER");
    EXPECT_STREQ(former, "EM_SHUTDOWN") << "a debug object may have kept the pointer";
    EXPECT_EQ(m_config.Level(), 0U);
    EXPECT_FALSE(m_config.Enabled());
    EXPECT_EQ(m_config.TraceFlags(), 8U);
    EXPECT_EQ(m_config.DynamicUpdate(), 30U);
}

TEST_F(DebugTraceConfigTest, NoticesAChangeOnceTheIntervalHasPassedOrTheClockWasSetBack) {
    configureForUpdates();
    test::setEnvironment(kLevelVariable, "7"); // not asked again
    m_directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=4\nTraceFlags=2\nMemoryTracesFlag=6"),
                      1001);
    fake::setWallClock(2029);
    EXPECT_FALSE(m_config.WillWrite(4));
    fake::setWallClock(2030);
    errno = EBADF;
    EXPECT_TRUE(m_config.WillWrite(4));
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(m_config.Level(), 4U);
    EXPECT_EQ(m_config.TraceFlags(), 2U);
    EXPECT_EQ(m_config.MemoryTracesFlag(), 6U);

    m_directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=5"), 1002);
    fake::setWallClock(1500);
    EXPECT_TRUE(m_config.WillWrite(5));
}

TEST_F(DebugTraceConfigTest, ChangesTheIntervalAndCanEndTheUpdates) {
    configureForUpdates();
    m_directory.write("global_trace.ini", closed("[GlobalDebugSettings]\nDynamicUpdate=5"), 1001);
    fake::setWallClock(2030);
    static_cast<void>(m_config.WillWrite(1));
    EXPECT_EQ(m_config.DynamicUpdate(), 5U);
    m_directory.write("global_trace.ini", closed("[GlobalDebugSettings]\nDynamicUpdate=0xFFFFFFFF"), 1002);
    fake::setWallClock(2035);
    static_cast<void>(m_config.WillWrite(1));
    EXPECT_EQ(m_config.DynamicUpdate(), 0U);
    m_directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=4"), 1003);
    fake::setWallClock(9000);
    EXPECT_FALSE(m_config.WillWrite(4)) << "no interval, no look";
}

TEST_F(DebugTraceConfigTest, StaysSwitchedOnAtLevelZeroAndOffUntilConfiguredAgain) {
    configureForUpdates();
    m_directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=0"), 1001);
    fake::setWallClock(2030);
    EXPECT_FALSE(m_config.WillWrite(1));
    EXPECT_TRUE(m_config.Enabled()) << "so that the callers' lines go on looking for a change";
    ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
    EXPECT_FALSE(m_config.Enabled());
    m_directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=3"), 1002);
    fake::setWallClock(2060);
    EXPECT_TRUE(m_config.WillWrite(3));
    EXPECT_FALSE(m_config.Enabled());
}

TEST_F(DebugTraceConfigTest, LooksAtAFileThatWentOnlyInTheNextConfigure) {
    configureForUpdates();
    ASSERT_EQ(::unlink(m_directory.pathOf("em.ini").c_str()), 0);
    fake::setWallClock(2030);
    EXPECT_TRUE(m_config.WillWrite(2));
    m_directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=3"), 1002);
    fake::setWallClock(2060);
    EXPECT_FALSE(m_config.WillWrite(3));
    ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
    EXPECT_TRUE(m_config.WillWrite(3));
}

TEST_F(DebugTraceConfigTest, IsSilentAfterTheTearDown) {
    configureForUpdates();
    ASSERT_TRUE(m_config.Configure("EM_OTHER"));
    m_config.TearDown();
    m_config.TearDown();
    EXPECT_FALSE(m_config.Enabled());
    EXPECT_FALSE(m_config.WillWrite(1));
    EXPECT_STREQ(m_config.ModuleName(), "EM_SHUTDOWN");
}

} // namespace
} // namespace em

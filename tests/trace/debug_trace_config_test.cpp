#include "trace/debug_trace_config.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <string>

#include "platform/base/system_twin.h"
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
        twin::setPath("traceConfigDirectory", m_Directory.path());
    }
    ~DebugTraceConfigTest() override { clearEnvironment(); }

    static void clearEnvironment() {
        test::unsetEnvironment(kLevelVariable);
        test::unsetEnvironment(kUpdateVariable);
    }
    void withoutDirectory() { twin::setPath("traceConfigDirectory", m_Directory.pathOf("missing")); }
    // The module's own file, configured at second 1000 with an interval of 30 seconds.
    void configureForUpdates() {
        m_Directory.write("global_trace.ini", closed("[GlobalDebugSettings]\nDynamicUpdate=30"), 1000);
        m_Directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=2\nTraceFlags=1"), 1000);
        ASSERT_TRUE(m_Config.Configure("EM_SHUTDOWN"));
        ASSERT_EQ(m_Config.DynamicUpdate(), 30U);
        twin::setWallClock(2000);
        ASSERT_TRUE(m_Config.WillWrite(2)); // the first line always looks
    }

    const twin::Scope m_Script;
    const test::TemporaryDirectory m_Directory;
    CDebugTraceConfig m_Config;
};

TEST_F(DebugTraceConfigTest, IsSilentUntilConfiguredForAName) {
    test::setEnvironment(kLevelVariable, "5");
    withoutDirectory();
    EXPECT_FALSE(m_Config.Configure(nullptr));
    EXPECT_FALSE(m_Config.Configure(""));
    EXPECT_FALSE(m_Config.Enabled());
    EXPECT_FALSE(m_Config.WillWrite(1));
    EXPECT_STREQ(m_Config.ModuleName(), "EM_SHUTDOWN");
    ASSERT_TRUE(m_Config.Configure("EM_SHUTDOWN"));
    EXPECT_TRUE(m_Config.WillWrite(5));
    EXPECT_FALSE(m_Config.WillWrite(6));
    EXPECT_FALSE(m_Config.IsOutputSink());
}

TEST_F(DebugTraceConfigTest, TakesTheLevelFromTheFirstFileThatHasTheSection) {
    const std::string section3 = closed("[EM_SHUTDOWN]\nFileDebugLevel=0x3");
    struct Case {
        const char* what;
        Files files;
        uint32_t level;
    };
    const Case cases[] = {
        {"first by name", {{"b.ini", section3}, {"a.ini", closed("[em_shutdown]\nFileDebugLevel=4")}}, 4},
        {"byte order, not the locale's",
         {{"a.ini", section3}, {"Z.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=4")}},
         4},
        {"a file without the section is passed over",
         {{"a.ini", closed("[Other]\nFileDebugLevel=4")}, {"b.ini", section3}},
         3},
        {"the first section counts, also without the key",
         {{"a.ini", closed("[EM_SHUTDOWN]\nOther=1")}, {"b.ini", section3}},
         0},
        {"the global file takes part",
         {{"global_trace.ini", section3}, {"x.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=4")}},
         3},
        {".ini anywhere in the name", {{"em.ini.bak", section3}}, 3},
        {"an editor's lock file", {{".#em.ini", section3}, {"other.ini", closed("[Other]")}}, 0},
        {"longer key first", {{"em.ini", closed("[EM_SHUTDOWN]\nMyFileDebugLevel=9\nFileDebugLevel=3")}}, 9},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const test::TemporaryDirectory directory;
        twin::setPath("traceConfigDirectory", directory.path());
        for (const auto& [name, content] : c.files) {
            directory.write(name, content);
        }
        CDebugTraceConfig config;
        EXPECT_TRUE(config.Configure("EM_SHUTDOWN"));
        EXPECT_EQ(config.Level(), c.level);
        EXPECT_EQ(config.Enabled(), c.level != 0);
    }
}

TEST_F(DebugTraceConfigTest, LetsTheEnvironmentOverrideTheFiles) {
    m_Directory.write("global_trace.ini", closed("[GlobalDebugSettings]\nDynamicUpdate=30"));
    m_Directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=3\nTraceFlags=0x10"));
    struct Case {
        const char* level;
        const char* update;
        uint32_t expectedLevel;
        uint32_t expectedUpdate;
    };
    const Case cases[] = {
        {nullptr, nullptr, 3, 30},
        {"5", "7", 5, 7},
        {"0", "0", 0, 0},
        {"", "", 0, 0},        // set counts, also to nothing
        {"0x5", "010", 0, 10}, // decimal only
        {"4294967297", nullptr, 1, 30},
        {"-1", nullptr, 0xFFFFFFFF, 30},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.level == nullptr ? "unset" : c.level);
        clearEnvironment();
        if (c.level != nullptr) {
            test::setEnvironment(kLevelVariable, c.level);
        }
        if (c.update != nullptr) {
            test::setEnvironment(kUpdateVariable, c.update);
        }
        ASSERT_TRUE(m_Config.Configure("EM_SHUTDOWN"));
        EXPECT_EQ(m_Config.Level(), c.expectedLevel);
        EXPECT_EQ(m_Config.DynamicUpdate(), c.expectedUpdate);
        EXPECT_EQ(m_Config.TraceFlags(), 0x10U);
        EXPECT_EQ(m_Config.Enabled(), c.expectedLevel != 0);
    }
}

TEST_F(DebugTraceConfigTest, AsksTheEnvironmentWithoutADirectoryButNotInAnEmptyOne) {
    test::setEnvironment(kLevelVariable, "5");
    m_Directory.write("readme.txt", "not counted");
    ASSERT_TRUE(m_Config.Configure("EM_SHUTDOWN"));
    EXPECT_FALSE(m_Config.Enabled());

    withoutDirectory();
    ASSERT_TRUE(m_Config.Configure("EM_SHUTDOWN"));
    EXPECT_EQ(m_Config.Level(), 5U);

    // What was configured before stays when the directory holds no file any more.
    twin::setPath("traceConfigDirectory", m_Directory.path());
    test::setEnvironment(kLevelVariable, "2");
    ASSERT_TRUE(m_Config.Configure("EM_SHUTDOWN"));
    EXPECT_EQ(m_Config.Level(), 5U);
    EXPECT_TRUE(m_Config.Enabled());

    // One that cannot be listed counts as missing; the global file has a name of its own.
    m_Directory.write("global_trace.ini", closed("[GlobalDebugSettings]\nDynamicUpdate=30"));
    twin::failNth("opendir", 1, EACCES);
    ASSERT_TRUE(m_Config.Configure("EM_SHUTDOWN"));
    EXPECT_EQ(m_Config.DynamicUpdate(), 30U);
    EXPECT_EQ(m_Config.Level(), 2U);
}

TEST_F(DebugTraceConfigTest, ForgetsTheLevelOfTheFormerNameAndKeepsTheRest) {
    m_Directory.write("global_trace.ini", closed("[GlobalDebugSettings]\nDynamicUpdate=30"));
    m_Directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=3\nTraceFlags=8"));
    ASSERT_TRUE(m_Config.Configure("EM_SHUTDOWN"));
    const char* const former = m_Config.ModuleName();
    m_Directory.write("global_trace.ini", closed("[Other]"));
    ASSERT_TRUE(m_Config.Configure("EM_OTHER"));
    EXPECT_STREQ(m_Config.ModuleName(), "EM_OTHER");
    EXPECT_STREQ(former, "EM_SHUTDOWN") << "a debug object may have kept the pointer";
    EXPECT_EQ(m_Config.Level(), 0U);
    EXPECT_FALSE(m_Config.Enabled());
    EXPECT_EQ(m_Config.TraceFlags(), 8U);
    EXPECT_EQ(m_Config.DynamicUpdate(), 30U);
}

TEST_F(DebugTraceConfigTest, NoticesAChangeOnceTheIntervalHasPassedOrTheClockWasSetBack) {
    configureForUpdates();
    test::setEnvironment(kLevelVariable, "7"); // not asked again
    m_Directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=4\nTraceFlags=2\nMemoryTracesFlag=6"),
                      1001);
    twin::setWallClock(2029);
    EXPECT_FALSE(m_Config.WillWrite(4));
    twin::setWallClock(2030);
    errno = EBADF;
    EXPECT_TRUE(m_Config.WillWrite(4));
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(m_Config.Level(), 4U);
    EXPECT_EQ(m_Config.TraceFlags(), 2U);
    EXPECT_EQ(m_Config.MemoryTracesFlag(), 6U);

    m_Directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=5"), 1002);
    twin::setWallClock(1500);
    EXPECT_TRUE(m_Config.WillWrite(5));
}

TEST_F(DebugTraceConfigTest, ChangesTheIntervalAndCanEndTheUpdates) {
    configureForUpdates();
    m_Directory.write("global_trace.ini", closed("[GlobalDebugSettings]\nDynamicUpdate=5"), 1001);
    twin::setWallClock(2030);
    static_cast<void>(m_Config.WillWrite(1));
    EXPECT_EQ(m_Config.DynamicUpdate(), 5U);
    m_Directory.write("global_trace.ini", closed("[GlobalDebugSettings]\nDynamicUpdate=0xFFFFFFFF"), 1002);
    twin::setWallClock(2035);
    static_cast<void>(m_Config.WillWrite(1));
    EXPECT_EQ(m_Config.DynamicUpdate(), 0U);
    m_Directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=4"), 1003);
    twin::setWallClock(9000);
    EXPECT_FALSE(m_Config.WillWrite(4)) << "no interval, no look";
}

TEST_F(DebugTraceConfigTest, StaysSwitchedOnAtLevelZeroAndOffUntilConfiguredAgain) {
    configureForUpdates();
    m_Directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=0"), 1001);
    twin::setWallClock(2030);
    EXPECT_FALSE(m_Config.WillWrite(1));
    EXPECT_TRUE(m_Config.Enabled()) << "so that the callers' lines go on looking for a change";
    ASSERT_TRUE(m_Config.Configure("EM_SHUTDOWN"));
    EXPECT_FALSE(m_Config.Enabled());
    m_Directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=3"), 1002);
    twin::setWallClock(2060);
    EXPECT_TRUE(m_Config.WillWrite(3));
    EXPECT_FALSE(m_Config.Enabled());
}

TEST_F(DebugTraceConfigTest, LooksAtAFileThatWentOnlyInTheNextConfigure) {
    configureForUpdates();
    ASSERT_EQ(::unlink(m_Directory.pathOf("em.ini").c_str()), 0);
    twin::setWallClock(2030);
    EXPECT_TRUE(m_Config.WillWrite(2));
    m_Directory.write("em.ini", closed("[EM_SHUTDOWN]\nFileDebugLevel=3"), 1002);
    twin::setWallClock(2060);
    EXPECT_FALSE(m_Config.WillWrite(3));
    ASSERT_TRUE(m_Config.Configure("EM_SHUTDOWN"));
    EXPECT_TRUE(m_Config.WillWrite(3));
}

TEST_F(DebugTraceConfigTest, IsSilentAfterTheTearDown) {
    configureForUpdates();
    ASSERT_TRUE(m_Config.Configure("EM_OTHER"));
    m_Config.TearDown();
    m_Config.TearDown();
    EXPECT_FALSE(m_Config.Enabled());
    EXPECT_FALSE(m_Config.WillWrite(1));
    EXPECT_STREQ(m_Config.ModuleName(), "EM_SHUTDOWN");
}

} // namespace
} // namespace em

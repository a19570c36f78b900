#include "trace/debug_trace_config.h"

#include "support/unit_test.h"

namespace em {
namespace {

constexpr const char* kLevelVariable = "TM_LOG_DEBUG_LEVEL";
constexpr const char* kUpdateVariable = "TM_LOG_DYNAMIC_UPDATE";

std::string closed(const std::string& content) {
    return content + "\n[EndOfFile]\n";
}

struct DebugTraceConfigTest : test::UnitTest {
    DebugTraceConfigTest() {
        clearEnvironment();
        fake::setPath(place::kTraceConfigDirectory, m_files.path());
    }
    ~DebugTraceConfigTest() override { clearEnvironment(); }

    static void clearEnvironment() {
        ::unsetenv(kLevelVariable);
        ::unsetenv(kUpdateVariable);
    }
    void withoutDirectory() { fake::setPath(place::kTraceConfigDirectory, m_files.pathOf("missing")); }
    void writeGlobal(const std::string& interval, time_t modified) const {
        const std::string content = closed("[GlobalDebugSettings]\nDynamicUpdate=" + interval);
        m_files.write("global_trace.ini", content, modified);
    }
    void writeOwn(const std::string& settings, time_t modified) const {
        m_files.write("em.ini", closed("[EM_SHUTDOWN]\n" + settings), modified);
    }
    void configure(const std::string& settings) {
        writeGlobal("30", 1000);
        writeOwn(settings, 1000);
        ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
        ASSERT_EQ(m_config.DynamicUpdate(), 30U);
    }
    bool writesAt(time_t now, uint32_t level) {
        fake::setWallClock(now);
        return m_config.WillWrite(level);
    }

    CDebugTraceConfig m_config;
};

TEST_F(DebugTraceConfigTest, IsSilentUntilConfiguredForAName) {
    ::setenv(kLevelVariable, "5", 1);
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
    // The files, by name and content, and the level.
    const std::pair<std::map<std::string, std::string>, uint32_t> cases[] = {
        {{{"b.ini", three}, {"a.ini", four}}, 4},
        {{{"a.ini", three}, {"Z.ini", four}}, 4}, // byte order, not the locale's
        {{{"a.ini", other}, {"b.ini", three}}, 3},
        {{{"a.ini", "[EM_SHUTDOWN]\nOther=1"}, {"b.ini", three}}, 0}, // the section decides, not the key
        {{{"global_trace.ini", three}, {"x.ini", four}}, 3},
        {{{"em.ini.bak", three}}, 3},
        {{{".#em.ini", three}, {"other.ini", other}}, 0}, // an editor's lock file
    };
    for (const auto& [files, level] : cases) {
        SCOPED_TRACE(files.begin()->first);
        const test::TemporaryDirectory directory;
        fake::setPath(place::kTraceConfigDirectory, directory.path());
        for (const auto& [name, content] : files) {
            directory.write(name, closed(content));
        }
        CDebugTraceConfig config;
        EXPECT_TRUE(config.Configure("EM_SHUTDOWN"));
        EXPECT_EQ(config.Level(), level);
        EXPECT_EQ(config.Enabled(), level != 0);
    }
}

TEST_F(DebugTraceConfigTest, LetsTheEnvironmentOverrideTheFiles) {
    configure("FileDebugLevel=3\nTraceFlags=0x10");
    EXPECT_EQ(m_config.Level(), 3U);
    EXPECT_EQ(m_config.TraceFlags(), 0x10U);
    // Set counts, also to nothing; decimal only.
    const std::pair<const char*, uint32_t> cases[] = {{"5", 5},    {"", 0},           {"0x5", 0},
                                                      {"010", 10}, {"4294967297", 1}, {"-1", 0xFFFFFFFF}};
    for (const auto& [text, number] : cases) {
        ::setenv(kLevelVariable, text, 1);
        ::setenv(kUpdateVariable, text, 1);
        ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
        EXPECT_EQ(m_config.Level(), number) << text;
        EXPECT_EQ(m_config.DynamicUpdate(), number) << text;
        EXPECT_EQ(m_config.Enabled(), number != 0) << text;
    }
}

TEST_F(DebugTraceConfigTest, AsksTheEnvironmentWithoutADirectoryButNotInAnEmptyOne) {
    ::setenv(kLevelVariable, "5", 1);
    m_files.write("readme.txt", "not counted");
    ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
    EXPECT_FALSE(m_config.Enabled());

    withoutDirectory();
    ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
    EXPECT_EQ(m_config.Level(), 5U);

    // What was configured before stays when the directory holds no file any more.
    fake::setPath(place::kTraceConfigDirectory, m_files.path());
    ::setenv(kLevelVariable, "2", 1);
    ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
    EXPECT_EQ(m_config.Level(), 5U);
    EXPECT_TRUE(m_config.Enabled());

    // One that cannot be listed counts as missing; the global file has a name of its own.
    writeGlobal("30", 1000);
    fake::failNth("opendir", 1, EACCES);
    ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
    EXPECT_EQ(m_config.DynamicUpdate(), 30U);
    EXPECT_EQ(m_config.Level(), 2U);
}

TEST_F(DebugTraceConfigTest, ForgetsTheLevelOfTheFormerNameAndKeepsTheRest) {
    configure("FileDebugLevel=3\nTraceFlags=8");
    const char* const former = m_config.ModuleName();
    m_files.write("global_trace.ini", closed("[Other]"));
    ASSERT_TRUE(m_config.Configure("EM_OTHER"));
    EXPECT_STREQ(m_config.ModuleName(), "EM_OTHER");
    EXPECT_STREQ(former, "EM_SHUTDOWN") << "a debug object may have kept the pointer";
    EXPECT_EQ(m_config.Level(), 0U);
    EXPECT_FALSE(m_config.Enabled());
    EXPECT_EQ(m_config.TraceFlags(), 8U);
    EXPECT_EQ(m_config.DynamicUpdate(), 30U);
}

// Each is configured with level 2 and an interval of 30 s, and looks with its first line, at 2000.
struct DebugTraceUpdateTest : DebugTraceConfigTest {
    DebugTraceUpdateTest() {
        configure("FileDebugLevel=2\nTraceFlags=1");
        EXPECT_TRUE(writesAt(2000, 2));
    }
};

TEST_F(DebugTraceUpdateTest, NoticesAChangeOnceTheIntervalHasPassedOrTheClockWasSetBack) {
    ::setenv(kLevelVariable, "7", 1); // not asked again
    writeOwn("FileDebugLevel=4\nTraceFlags=2\nMemoryTracesFlag=6", 1001);
    EXPECT_FALSE(writesAt(2029, 4));
    errno = EBADF;
    EXPECT_TRUE(writesAt(2030, 4));
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(m_config.Level(), 4U);
    EXPECT_EQ(m_config.TraceFlags(), 2U);
    EXPECT_EQ(m_config.MemoryTracesFlag(), 6U);
    writeOwn("FileDebugLevel=5", 1002);
    EXPECT_TRUE(writesAt(1500, 5));
}

TEST_F(DebugTraceUpdateTest, ChangesTheIntervalAndCanEndTheUpdates) {
    writeGlobal("5", 1001);
    EXPECT_TRUE(writesAt(2030, 1));
    EXPECT_EQ(m_config.DynamicUpdate(), 5U);
    writeGlobal("0xFFFFFFFF", 1002);
    EXPECT_TRUE(writesAt(2035, 1));
    EXPECT_EQ(m_config.DynamicUpdate(), 0U);
    writeOwn("FileDebugLevel=4", 1003);
    EXPECT_FALSE(writesAt(9000, 4)) << "no interval, no look";
}

TEST_F(DebugTraceUpdateTest, StaysSwitchedOnAtLevelZeroAndOffUntilConfiguredAgain) {
    writeOwn("FileDebugLevel=0", 1001);
    EXPECT_FALSE(writesAt(2030, 1));
    EXPECT_TRUE(m_config.Enabled()) << "so that the callers' lines go on looking for a change";
    ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
    EXPECT_FALSE(m_config.Enabled());
    writeOwn("FileDebugLevel=3", 1002);
    EXPECT_TRUE(writesAt(2060, 3));
    EXPECT_FALSE(m_config.Enabled());
}

TEST_F(DebugTraceUpdateTest, LooksAtAFileThatWentOnlyInTheNextConfigureAndAtNoneAfterTheTearDown) {
    ASSERT_EQ(::unlink(m_files.pathOf("em.ini").c_str()), 0);
    EXPECT_TRUE(writesAt(2030, 2));
    writeOwn("FileDebugLevel=3", 1002);
    EXPECT_FALSE(writesAt(2060, 3));
    ASSERT_TRUE(m_config.Configure("EM_SHUTDOWN"));
    EXPECT_TRUE(m_config.WillWrite(3));
    ASSERT_TRUE(m_config.Configure("EM_OTHER"));
    m_config.TearDown();
    m_config.TearDown();
    EXPECT_FALSE(m_config.Enabled() || m_config.WillWrite(1));
    EXPECT_STREQ(m_config.ModuleName(), "EM_SHUTDOWN");
}

} // namespace
} // namespace em

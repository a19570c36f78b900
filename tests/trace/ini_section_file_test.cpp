#include "trace/ini_section_file.h"

#include "support/unit_test.h"

namespace em {
namespace {

using namespace std::string_literals;

std::optional<uint32_t> valueOf(const IniSectionFile& section, const char* key) {
    uint32_t value = 0xDEAD;
    if (section.GetIntValue(key, value)) {
        return value;
    }
    EXPECT_EQ(value, 0xDEADU) << "touched without a result";
    return std::nullopt;
}

struct IniSectionFileTest : test::UnitTest {
    bool load(const std::string& content) {
        m_files.write("a.ini", content, 1000);
        return m_file.LoadSection("EM_SHUTDOWN", "a.ini", m_files.path().c_str());
    }

    IniSectionFile m_file;
};

TEST_F(IniSectionFileTest, FindsTheSectionOfAFileThatIsClosedByItsMarker) {
    // What the file holds, and "Key" in its section.
    constexpr auto kNotLoaded = std::nullopt;
    const std::tuple<const char*, std::string, std::optional<uint32_t>> cases[] = {
        {"marker in another case, no line end", "[EM_SHUTDOWN]Key=3[endoffile]", 3},
        {"section name in another case", "[em_Shutdown]\nKey=3\n[ENDOFFILE]", 3},
        {"no marker", "[EM_SHUTDOWN]\nKey=3\n", kNotLoaded},
        {"another header last", "[EM_SHUTDOWN]\nKey=3\n[EndOfFile]\n[Other]\n", kNotLoaded},
        {"marker with blanks", "[EM_SHUTDOWN]\nKey=3\n[ EndOfFile ]\n", kNotLoaded},
        {"text behind the marker", "[EM_SHUTDOWN]\nKey=3\n[EndOfFile] and more [\n", 3},
        {"a bracket closed behind the marker", "[EM_SHUTDOWN]\nKey=3\n[EndOfFile]\nx]\n", kNotLoaded},
        {"empty", "", kNotLoaded},
        {"only a closing bracket", "]", kNotLoaded},
        {"longer section name", "[EM_SHUTDOWN2]\nKey=3\n[EndOfFile]\n", kNotLoaded},
        {"first of two", "[EM_SHUTDOWN]\nKey=3\n[EM_SHUTDOWN]\nKey=4\n[EndOfFile]\n", 3},
        {"header inside a line", "x [EM_SHUTDOWN] Key=3\n[EndOfFile]\n", 3},
        {"unclosed header swallows the next", "[Open\n[EM_SHUTDOWN]\nKey=3\n[EndOfFile]\n", kNotLoaded},
        {"stray closing brackets", "]]\n[EM_SHUTDOWN]\nKey=3\n[EndOfFile]\n", 3},
        {"NUL ends everything", "[Other]\n\0[EM_SHUTDOWN]\nKey=3\n[EndOfFile]\n"s, kNotLoaded},
    };
    for (const auto& [what, content, key] : cases) {
        EXPECT_EQ(load(content), key.has_value()) << what;
        EXPECT_EQ(valueOf(m_file, "Key"), key) << what;
    }
}

TEST_F(IniSectionFileTest, ReadsTheNumberBehindTheFirstOccurrenceOfTheKey) {
    const std::pair<std::string, std::optional<uint32_t>> cases[] = {
        {"Level=3\n", 3},
        {"Level = \t0x1F\n", 31},
        {"Level=010", 8},
        {"Level=4294967297", 1},
        {"Level=-1", 0xFFFFFFFF},
        {"Level=high\n", 0},
        {"Level=\n\r\n  7\n", 7},
        {"MyLevel=9\nLevel=3\n", 9},
        {"; Level is\nOther=8\nLevel=3\n", 8},
        {"level=3\n", std::nullopt},
        {"Level 3\n", std::nullopt},
        {"; a [ cuts here\nLevel=3\n", std::nullopt},
        // 64 characters are looked at.
        {"Level=" + std::string(63, '0') + "7", 7},
        {"Level=" + std::string(64, '0') + "7", 0},
    };
    for (const auto& [body, level] : cases) {
        ASSERT_TRUE(load("[EM_SHUTDOWN]\n" + body + "[EndOfFile]"));
        EXPECT_EQ(valueOf(m_file, "Level"), level) << body;
    }
    ASSERT_TRUE(load("[EM_SHUTDOWN]\nLevel=3\n[Next]\nLater=4\n[EndOfFile]"));
    EXPECT_EQ(valueOf(m_file, "Later"), std::nullopt) << "the section ends at the next header";
    EXPECT_EQ(valueOf(m_file, ""), std::nullopt);
    EXPECT_EQ(valueOf(m_file, nullptr), std::nullopt);
}

TEST_F(IniSectionFileTest, TakesANewerFileAndKeepsTheOldContentUntilTheNewOneIsWhole) {
    const std::string closed = "[EM_SHUTDOWN]\nKey=4\n[EndOfFile]\n";
    const auto change = [this](const std::string& content, time_t modified) {
        m_files.write("a.ini", content, modified);
        return m_file.LoadIfNewer("EM_SHUTDOWN");
    };
    ASSERT_TRUE(load("[EM_SHUTDOWN]\nKey=3\n[EndOfFile]\n"));
    for (const time_t notLater : {1000, 999}) {
        EXPECT_FALSE(change(closed, notLater));
    }
    for (const char* unusable : {"[EM_SHUTDOWN]\nKey=4\n", "[Other]\nKey=4\n[EndOfFile]\n", ""}) {
        EXPECT_FALSE(change(unusable, 1001)) << unusable;
    }
    fake::failNth("read", 1, EIO);
    EXPECT_FALSE(change(closed, 1001));
    EXPECT_EQ(valueOf(m_file, "Key"), 3U);
    EXPECT_TRUE(change(closed, 1001))
        << "of the second of the half file: an unusable one's time does not count";
    EXPECT_EQ(valueOf(m_file, "Key"), 4U);

    // A call that fails in a first load or when it looks again.
    for (const auto& [again, call] :
         {std::pair(false, "open"), std::pair(false, "fstat"), std::pair(false, "read"),
          std::pair(true, "stat"), std::pair(true, "open")}) {
        ASSERT_TRUE(load(closed));
        fake::failNth(call, 1, EIO);
        EXPECT_FALSE(again ? change(closed, 1001) : load(closed)) << call;
        EXPECT_FALSE(m_file.HasPath());
        EXPECT_EQ(valueOf(m_file, "Key"), std::nullopt);
    }
}

} // namespace
} // namespace em

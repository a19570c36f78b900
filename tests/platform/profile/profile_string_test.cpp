// What the calls on a profile file read and what a write makes of the file, byte for byte.
#include "platform/profile/profile_string.h"

#include "platform/profile/profile_file.h"
#include "support/unit_test.h"

namespace em {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr char kUntouched = '\x55';

struct ProfileTest : test::UnitTest {
    // The result, and in m_buffer all of the buffer.
    uint32_t read(const char* section, const char* key, const char* defaultText, uint32_t size) {
        m_buffer.assign(size, kUntouched);
        return GetPrivateProfileString(section, key, defaultText, m_buffer.data(), size, m_file.c_str());
    }
    uint32_t write(const char* section, const char* key, const char* value) const {
        return WritePrivateProfileString(section, key, value, m_file.c_str());
    }
    void fill(const std::string& content) const { m_files.write("profile.ini", content); }
    [[nodiscard]] std::string content() const { return m_files.read("profile.ini"); }

    const std::string m_file = m_files.pathOf("profile.ini");
    CProfileFile m_profile{m_file.c_str()};
    std::string m_buffer;
};

TEST_F(ProfileTest, ValuesAreRead) {
    // Of A in S; "DEFAULT" where the default is given.
    const std::tuple<const char*, std::string, const char*> cases[] = {
        {"blanks and a comment", "[S]\n  A = 1 ; note\n", "1"},
        {"carriage returns", "[S]\r\nA=1\r\n", "1"},
        {"no line end at the end", "[S]\nA=1", "1"},
        {"blanks and another = within", "[S]\nA= 1 = 2 \n", "1 = 2"},
        {"text behind the header", "[S] A=0\nA=1\n", "1"},
        {"other sections first", "[T]\nA=0\n[s]\nA=0\n[Sx]\nA=0\n[S]\nA=1\n", "1"},
        {"key of other case", "[S]\na=0\n", "DEFAULT"},
        {"section ends at the next header", "[S]\n[T]\nA=0\n", "DEFAULT"},
        {"also at one of its own name", "[S]\nB=0\n[S]\nA=0\n", "DEFAULT"},
        {"comment line", "[S]\n;A=0\n", "DEFAULT"},
        {"= behind the comment", "[S]\nA;=0\n", "DEFAULT"},
        {"] behind the comment", "[S;]\nA=0\n", "DEFAULT"},
        {"[ line without ] is no header", "[S]\n[T\nA=1\n", "1"},
        {"empty value", "[S]\nA= ;1\nA=2\n", "DEFAULT"},
        {"NUL in a line", "[S]\nA=1\0002\n"s, "1"},
        {"tail of a long line", "[S]\n" + std::string(1023, 'x') + "A=0\n", "DEFAULT"},
    };
    for (const auto& [what, content, value] : cases) {
        SCOPED_TRACE(what);
        fill(content);
        EXPECT_EQ(std::string_view(value).size(), read("S", "A", "DEFAULT", 100));
        EXPECT_STREQ(value, m_buffer.c_str());
    }
    fill("[S]\nA=" + std::string(3000, 'v') + "\n");
    EXPECT_EQ(1021u, read("S", "A", nullptr, 4000));
}

// The file is read by blocks: where one ends, whatever it cuts in two, shows in nothing.
TEST_F(ProfileTest, ALineIsReadWholeWhereverItLies) {
    const std::string wanted = "[S]\nA=1\n[T]\n";
    for (const size_t block : {4096UL, 4096UL + 65536UL}) {
        for (size_t at = block - wanted.size() - 1; at <= block + 1; ++at) {
            std::string lines;
            while (lines.size() + 8 <= at) {
                lines += "[x]\nB=\n";
            }
            for (const std::string& before :
                 {lines, std::string(at, 'y')}) { // and a line longer than a block
                fill(before + std::string(at - before.size(), ' ') + "\n" + wanted);
                ASSERT_EQ(1u, read("S", "A", "DEFAULT", 100)) << at;
                ASSERT_STREQ("1", m_buffer.c_str()) << at;
            }
        }
    }
    fake::failNth("read", 2, EIO); // half a file is not taken for the whole
    const test::TraceCapture capture(4);
    EXPECT_EQ(7u, read("S", "A", "DEFAULT", 100));
    EXPECT_EQ("GetPrivateProfileString: Cannot open " + m_file + "\n", capture.text());
    fake::failNth("read", 2, EIO);
    EXPECT_EQ(0u, read(nullptr, nullptr, nullptr, 100000));
    EXPECT_EQ('\0', m_buffer[0]);
}

TEST_F(ProfileTest, EverySizeOfBufferIsKept) {
    fill("[a]\nk1=12345\nk2=\n[b]\n[cc]\n");
    const std::string rest(1, kUntouched);
    const std::tuple<const char*, const char*, uint32_t, uint32_t, std::string> cases[] = {
        {"a", "k1", 0, 0, ""},
        {"a", "k1", 1, 0, "\0"s},
        {"a", "k1", 2, 1, "d\0"s}, // no line is read: the default
        {"a", "k1", 3, 2, "12\0"s},
        {"a", "k1", 6, 5, "12345\0"s},
        {"a", "k1", 7, 5, "12345\0"s + rest},
        {"a", "no", 4, 3, "def\0"s},
        {nullptr, nullptr, 1, 0, "\0"s},
        {nullptr, nullptr, 2, 0, "\0"s + rest},
        {nullptr, nullptr, 4, 2, "a\0\0"s + rest},
        {nullptr, nullptr, 6, 4, "a\0b\0\0"s + rest},
        {nullptr, nullptr, 7, 5, "a\0b\0c\0\0"s.substr(0, 5) + "\0\0"s},
        {nullptr, nullptr, 8, 7, "a\0b\0cc\0\0"s},
        {nullptr, "ignored", 9, 7, "a\0b\0cc\0\0"s + rest},
        {"a", nullptr, 5, 3, "k1\0\0"s + rest},
        {"no", nullptr, 5, 0, "\0"s + std::string(4, kUntouched)},
    };
    for (const auto& [section, key, size, count, buffer] : cases) {
        SCOPED_TRACE(std::string(section != nullptr ? section : "") + " size " + std::to_string(size));
        EXPECT_EQ(count, read(section, key, "def", size));
        EXPECT_EQ(buffer, m_buffer);
    }
    EXPECT_EQ(0u, GetPrivateProfileString("a", "k1", "d", nullptr, 9, m_file.c_str()));
}

TEST_F(ProfileTest, WhatCannotBeReadGivesTheDefault) {
    const std::string fifo = m_files.pathOf("fifo");
    ASSERT_EQ(0, ::mkfifo(fifo.c_str(), 0600));
    char out[20];
    for (const std::string& file : {m_file, fifo, m_files.path()}) {
        EXPECT_EQ(file == m_file ? 1u : 0u, WritePrivateProfileString("S", "K", "1", file.c_str()));
        std::filesystem::remove(m_file);
        const test::TraceCapture capture(4);
        EXPECT_EQ(3u, GetPrivateProfileString("S", "A", "def", out, sizeof out, file.c_str()));
        EXPECT_STREQ("def", out);
        EXPECT_EQ("GetPrivateProfileString: Cannot open " + file + "\n", capture.text());
    }
    EXPECT_EQ(3u, GetPrivateProfileString("S", "A", "def", out, sizeof out, nullptr));
    EXPECT_EQ(0u, GetPrivateProfileString("S", nullptr, "def", out, sizeof out, m_file.c_str()));
    EXPECT_STREQ("", out);
}

const std::string kLong(2000, 'x');
const std::string kBlanks(1021, ' ');

TEST_F(ProfileTest, AValueIsWrittenAndNothingElseChanges) {
    // What "K=2" in S makes of a file.
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"replaced behind the first line", "[S]\nJ=0\nK=1\n[T]\n", "[S]\nJ=0\nK=2\n[T]\n"},
        {"first line gets an empty line", "[S]\nK=1\n[T]\n", "[S]\n\nK=2\n[T]\n"},
        {"and one more each time", "[S]\n\nK=1\n[T]\n", "[S]\n\n\nK=2\n[T]\n"},
        {"comments do not count as lines", "[S]\n; note\n\nK=1\n", "[S]\n; note\n\n\nK=2\n"},
        {"other lines count", "[S]\nnoise\nK=1\n", "[S]\nnoise\nK=2\n"},
        {"new, in front of the next header", "[S]\nJ=1\n\n\n[T]\nX=1\n", "[S]\nJ=1\n\n\nK=2\n[T]\nX=1\n"},
        {"new, at the end", "[S]\nJ=1\n", "[S]\nJ=1\nK=2\n"},
        {"new, at an end without line end", "[S]\nJ=0", "[S]\nJ=0\nK=2\n"},
        {"new section at an end without line end", "[T]\nK=1", "[T]\nK=1\n\n[S]\n\nK=2\n"},
        {"empty file", "", "\n[S]\n\nK=2\n"},
        {"replaced line without line end", "[S]\nJ=0\nK=1", "[S]\nJ=0\nK=2\n"},
        {"everything else stays", "; top\r\n\t[S]\t; x\r\n J = 0 \r\nK = 1 ; gone\r\n\r\n[T]\r\n",
         "; top\r\n\t[S]\t; x\r\n J = 0 \r\nK=2\n\r\n[T]\r\n"},
        {"names are case-sensitive", "[s]\nK=1\n[S]\nk=1\n", "[s]\nK=1\n[S]\nk=1\nK=2\n"},
        {"a longer header is another section", "[Sx]\nK=1\n", "[Sx]\nK=1\n\n[S]\n\nK=2\n"},
        {"a second section of the name", "[S]\nJ=0\n[S]\nK=1\n", "[S]\nJ=0\nK=2\n[S]\nK=1\n"},
        {"commented header is none", ";[S]\nK=1\n", ";[S]\nK=1\n\n[S]\n\nK=2\n"},
        {"header without bracket is none", "[S\nK=1\n", "[S\nK=1\n\n[S]\n\nK=2\n"},
        {"a byte-order mark hides no header", "\xEF\xBB\xBF[S]\nJ=0\nK=1\n", "\xEF\xBB\xBF[S]\nJ=0\nK=2\n"},
        {"long line is replaced whole", "[S]\nJ=0\nK=" + kLong + "\nL=1\n", "[S]\nJ=0\nK=2\nL=1\n"},
        {"its tail is no key", "[S]\nJ=" + kBlanks + "K=1\n", "[S]\nJ=" + kBlanks + "K=1\nK=2\n"},
        {"a NUL ends a line's text", "[S]\nJ=0\nX\0K=1\n"s, "[S]\nJ=0\nX\0K=1\nK=2\n"s},
    };
    for (const auto& [what, before, after] : cases) {
        fill(before);
        EXPECT_EQ(1u, write("S", "K", "2")) << what;
        EXPECT_EQ(after, content()) << what;
    }
}

TEST_F(ProfileTest, DeletesAndOddNames) {
    using Text = const char*;
    const std::tuple<Text, std::string, Text, Text, Text, std::string> cases[] = {
        {"semicolon in a value", "[S]\nJ=0\n", "S", "K", "a;b", "[S]\nJ=0\nK=a;b\n"},
        {"[ line may be a value line", "[S]\nJ=0\n[K=1\n[T]\n", "S", "[K", nullptr, "[S]\nJ=0\n[T]\n"},
        {"no comment ends a header", "[S ;x]\nJ=0\nK=1\n", "S ;x", "K", nullptr, "[S ;x]\nJ=0\n"},
        {"key deleted", "[S]\nJ=0\nK=1\nL=2\n", "S", "K", nullptr, "[S]\nJ=0\nL=2\n"},
        {"first key leaves an empty line", "[S]\nK=1\nL=2\n", "S", "K", nullptr, "[S]\n\nL=2\n"},
        {"no such key", "[S]\nK=1\n[T]\nN=1\n", "S", "N", nullptr, "[S]\nK=1\n[T]\nN=1\n"},
        {"no such section", "[S]\nK=1\n", "T", "K", nullptr, "[S]\nK=1\n"},
        {"section", "; a\n[S]\nK=1\n; b\n\n[T]\nX=1\n", "S", nullptr, nullptr, "; a\n[T]\nX=1\n"},
        {"last section", "[S]\nK=1\n[T]\nX=1\n; b\n", "T", nullptr, nullptr, "[S]\nK=1\n"},
        {"first of two sections", "[S]\nK=1\n[S]\nK=2\n", "S", nullptr, nullptr, "[S]\nK=2\n"},
        {"a mark is in no section", "\xEF\xBB\xBF[S]\nK=1\n[T]\n", "S", nullptr, nullptr,
         "\xEF\xBB\xBF[T]\n"},
        {"no section to delete", "[S]\nK=1\n", "T", nullptr, "ignored", "[S]\nK=1\n"},
    };
    for (const auto& [what, before, section, key, value, after] : cases) {
        fill(before);
        EXPECT_EQ(1u, write(section, key, value)) << what;
        EXPECT_EQ(after, content()) << what;
    }
}

TEST_F(ProfileTest, WhatWouldNotReadBackIsRefused) {
    const std::string longest(1021, 'v');
    const std::string tooLong = longest + "v";
    fill("[S]\n");
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {nullptr, "K", "2"},        {"S", "", "2"},
        {"S", "a=b", "2"},          {"S", "a\nb", "2"},
        {"S", "[a", "2"},           {"S", "a;b", "2"},
        {"S", "a ", "2"},           {"S", "a\t", "2"},
        {"S;x", "K", "2"},          {"S", " a", "2"},
        {"S]", "K", "2"},           {"S\n", "K", "2"},
        {"S", "K", "2\nL=3"},       {"S", "K", tooLong.c_str()},
        {tooLong.c_str(), "K", "2"}};
    for (const auto& [section, key, value] : cases) {
        EXPECT_EQ(0u, write(section, key, value)) << key << "=" << value;
    }
    EXPECT_EQ("[S]\n", content());

    EXPECT_EQ(1u, write("S", "K", longest.c_str()));
    EXPECT_EQ(longest, m_profile.ReadString("S", "K", nullptr));
    EXPECT_EQ(1u, write(longest.c_str(), "K", "2"));
    EXPECT_STREQ("2", m_profile.ReadString(longest.c_str(), "K", nullptr));
}

TEST_F(ProfileTest, MissingFileIsMadeForAValueOnly) {
    EXPECT_EQ(0u, write("S", "K", nullptr));
    EXPECT_EQ(0u, write("S", nullptr, nullptr));
    EXPECT_EQ(0u, WritePrivateProfileString("S", "K", "2", nullptr));
    struct stat status;
    ASSERT_NE(0, ::stat(m_file.c_str(), &status));

    const mode_t mask = ::umask(077);
    EXPECT_EQ(1u, write("S", "K", "2"));
    ::umask(mask);
    EXPECT_EQ("\n[S]\n\nK=2\n", content());
    ASSERT_EQ(0, ::stat(m_file.c_str(), &status));
    EXPECT_EQ(0644u, status.st_mode & ALLPERMS);
}

TEST_F(ProfileTest, SaysWhatItDidOnEveryWay) {
    const test::TraceCapture capture(4);
    write("S", "K", "1");
    WritePrivateProfileString(nullptr, nullptr, nullptr, nullptr);
    WritePrivateProfileString("S", "K", "1", "/no/such/directory/x.ini");
    EXPECT_EQ("WritePrivateProfileString(S, K, 1, " + m_file +
                  ")\nWritePrivateProfileString rc=0x0001\n"
                  "WritePrivateProfileString(<nil>, <nil>, <nil>, )\nWritePrivateProfileString rc=0x0000\n"
                  "WritePrivateProfileString(S, K, 1, /no/such/directory/x.ini)\n"
                  "WritePrivateProfileString: ## WARNING: append open error: No such file or directory\n"
                  "WritePrivateProfileString rc=0x0000\n",
              capture.text());
}

TEST_F(ProfileTest, Numbers) {
    fill("[S]\ndec=10\nhex=0x1F\noct=010\nneg=-5\nword=abc\nempty=\n"
         "big=4294967297\nlong=00000000000000000000000000000001234\n");
    for (const auto& [key, number] :
         {std::pair("dec", 10u), std::pair("hex", 31u), std::pair("oct", 8u), std::pair("neg", 4294967291u),
          std::pair("word", 0u), std::pair("empty", 77u), std::pair("missing", 77u), std::pair("big", 1u),
          std::pair("long", 0u)}) { // 31 characters count
        EXPECT_EQ(number, m_profile.ReadInteger("S", key, 77)) << key;
    }
}

TEST_F(ProfileTest, WhatIsWrittenReadsBack) {
    EXPECT_EQ(1u, m_profile.WriteUnsigned("S", "u", 4294967295u));
    EXPECT_EQ(1u, m_profile.WriteSigned("S", "s", -12));
    EXPECT_EQ(1u, m_profile.WriteValue("T", "a", "b"));
    EXPECT_STREQ("4294967295", m_profile.ReadString("S", "u", nullptr));
    EXPECT_STREQ("-12", m_profile.ReadString("S", "s", nullptr));
    EXPECT_STREQ("z", m_profile.ReadString("T", "z", "z"));
    EXPECT_STREQ("", m_profile.ReadString("T", "z", nullptr));
    EXPECT_EQ("u\0s\0\0"sv, std::string_view(m_profile.ReadKeyList("S", nullptr), 5));
    EXPECT_EQ("S\0T\0\0"sv, std::string_view(m_profile.ReadSectionList(nullptr), 5));
    EXPECT_STREQ("none", m_profile.ReadKeyList("U", "none"));
    const char* const last = m_profile.ReadString("T", "a", nullptr);
    EXPECT_STREQ("b", m_profile.ReadString("T", "z", last)) << "a default within the last result";
    EXPECT_EQ(1u, m_profile.DeleteKey("S", "u"));
    EXPECT_EQ(1u, m_profile.DeleteSection("T"));
    EXPECT_EQ("\n[S]\n\n\ns=-12\n\n", content());
}

TEST_F(ProfileTest, ListsGrowUntilTheyFit) {
    // Around the first buffer's size: one less, the exact fit, one more.
    for (size_t length = 1015; length <= 1022; ++length) {
        const std::vector<std::string> wanted{std::string(length - 3, 'n'), "k", "l"};
        fill("[S]\n" + wanted[0] + "=\nk=\nl=\n");
        std::vector<std::string> names{"old"};
        EXPECT_TRUE(m_profile.KeyNames("S", names));
        EXPECT_EQ(wanted, names);
    }
    std::vector<std::string> names{"old"};
    EXPECT_FALSE(m_profile.KeyNames("T", names));
    EXPECT_TRUE(names.empty());
}

TEST_F(ProfileTest, WithoutFileOrSection) {
    const test::TraceCapture capture(4);
    CProfileFile nameless(nullptr);
    std::vector<std::string> names;
    EXPECT_EQ(5u, nameless.ReadInteger("S", "k", 5));
    EXPECT_STREQ("d", nameless.ReadString("S", "k", "d"));
    EXPECT_FALSE(nameless.SectionNames(names));
    EXPECT_EQ("", capture.text());
    EXPECT_EQ(0u, nameless.WriteUnsigned("S", "k", 5) + nameless.DeleteSection("S"));
    EXPECT_EQ(5u, m_profile.ReadInteger(nullptr, "k", 5));
    EXPECT_FALSE(m_profile.KeyNames(nullptr, names) || m_profile.WriteValue(nullptr, "k", "v") != 0);
    const std::string line = "WritePrivateProfileString: ## WARNING: invalid pointer to ";
    const std::string file = line + "FileName\n";
    const std::string section = line + "AppName\n";
    EXPECT_EQ(file + file + section + section + section, capture.text());
}

} // namespace
} // namespace em

// What a write makes of a file, byte for byte.
#include "platform/profile/profile_string.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "support/temporary_directory.h"
#include "support/trace_capture.h"

namespace em {
namespace {

using namespace std::string_literals;

struct Case {
    const char* what;
    std::string before;
    const char* section;
    const char* key;
    const char* value;
    std::string after;
};

const std::string kLong(2000, 'x');

const Case kCases[] = {
    {"replaced behind the first line", "[S]\nJ=0\nK=1\n[T]\n", "S", "K", "2", "[S]\nJ=0\nK=2\n[T]\n"},
    {"first line gets an empty line", "[S]\nK=1\n[T]\n", "S", "K", "2", "[S]\n\nK=2\n[T]\n"},
    {"and one more each time", "[S]\n\nK=2\n[T]\n", "S", "K", "3", "[S]\n\n\nK=3\n[T]\n"},
    {"comments do not count as lines", "[S]\n; note\n\nK=1\n", "S", "K", "2", "[S]\n; note\n\n\nK=2\n"},
    {"other lines count", "[S]\nnoise\nK=1\n", "S", "K", "2", "[S]\nnoise\nK=2\n"},
    {"new key in front of the next header", "[S]\nK=1\n\n\n[T]\nX=1\n", "S", "N", "2",
     "[S]\nK=1\n\n\nN=2\n[T]\nX=1\n"},
    {"new key at the end", "[S]\nK=1\n", "S", "N", "2", "[S]\nK=1\nN=2\n"},
    {"new key at an end without line end", "[S]\nJ=0", "S", "K", "2", "[S]\nJ=0\nK=2\n"},
    {"new section at an end without line end", "[S]\nK=1", "T", "N", "2", "[S]\nK=1\n\n[T]\n\nN=2\n"},
    {"empty file", "", "S", "K", "2", "\n[S]\n\nK=2\n"},
    {"replaced line without line end", "[S]\nJ=0\nK=1", "S", "K", "2", "[S]\nJ=0\nK=2\n"},
    {"everything else stays", "; top\r\n\t[S]\t; x\r\n J = 0 \r\nK = 1 ; gone\r\n\r\n[T]\r\n", "S", "K", "2",
     "; top\r\n\t[S]\t; x\r\n J = 0 \r\nK=2\n\r\n[T]\r\n"},
    {"names are case-sensitive", "[s]\nK=1\n[S]\nk=1\n", "S", "K", "2", "[s]\nK=1\n[S]\nk=1\nK=2\n"},
    {"a longer header is another section", "[Sx]\nK=1\n", "S", "K", "2", "[Sx]\nK=1\n\n[S]\n\nK=2\n"},
    {"second section of the name is not reached", "[S]\nJ=0\n[S]\nK=1\n", "S", "K", "2",
     "[S]\nJ=0\nK=2\n[S]\nK=1\n"},
    {"commented header is none", ";[S]\nK=1\n", "S", "K", "2", ";[S]\nK=1\n\n[S]\n\nK=2\n"},
    {"header without bracket is none", "[S\nK=1\n", "S", "K", "2", "[S\nK=1\n\n[S]\n\nK=2\n"},
    {"and may be a value line", "[S]\nJ=0\n[K=1\n[T]\n", "S", "[K", nullptr, "[S]\nJ=0\n[T]\n"},
    {"a comment does not end a header in writing", "[S ;x]\nJ=0\nK=1\n", "S ;x", "K", nullptr,
     "[S ;x]\nJ=0\n"},
    {"a byte-order mark hides no header", "\xEF\xBB\xBF[S]\nJ=0\nK=1\n", "S", "K", "2",
     "\xEF\xBB\xBF[S]\nJ=0\nK=2\n"},
    {"and belongs to no section", "\xEF\xBB\xBF[S]\nK=1\n[T]\n", "S", nullptr, nullptr, "\xEF\xBB\xBF[T]\n"},
    {"long line is replaced whole", "[S]\nJ=0\nK=" + kLong + "\nL=1\n", "S", "K", "2",
     "[S]\nJ=0\nK=2\nL=1\n"},
    {"a long line's tail is no key", "[S]\nJ=" + std::string(1021, ' ') + "K=1\n", "S", "K", "2",
     "[S]\nJ=" + std::string(1021, ' ') + "K=1\nK=2\n"},
    {"a NUL ends a line's text", "[S]\nJ=0\nX\0K=1\n"s, "S", "K", "2", "[S]\nJ=0\nX\0K=1\nK=2\n"s},
    {"semicolon in a value", "[S]\nJ=0\n", "S", "K", "a;b", "[S]\nJ=0\nK=a;b\n"},

    {"key deleted", "[S]\nJ=0\nK=1\nL=2\n", "S", "K", nullptr, "[S]\nJ=0\nL=2\n"},
    {"first key leaves an empty line", "[S]\nK=1\nL=2\n", "S", "K", nullptr, "[S]\n\nL=2\n"},
    {"no such key", "[S]\nK=1\n[T]\nN=1\n", "S", "N", nullptr, "[S]\nK=1\n[T]\nN=1\n"},
    {"no such section", "[S]\nK=1\n", "T", "K", nullptr, "[S]\nK=1\n"},
    {"section deleted", "; a\n[S]\nK=1\n; b\n\n[T]\nX=1\n", "S", nullptr, nullptr, "; a\n[T]\nX=1\n"},
    {"last section deleted", "[S]\nK=1\n[T]\nX=1\n; b\n", "T", nullptr, nullptr, "[S]\nK=1\n"},
    {"first of two sections deleted", "[S]\nK=1\n[S]\nK=2\n", "S", nullptr, nullptr, "[S]\nK=2\n"},
    {"no section to delete", "[S]\nK=1\n", "T", nullptr, "ignored", "[S]\nK=1\n"},
};

class ProfileWrite : public ::testing::Test {
protected:
    test::TemporaryDirectory m_directory;
    const std::string m_file = m_directory.path() + "/profile.ini";
};

TEST_F(ProfileWrite, ChangesExactlyWhatIsAsked) {
    for (const Case& row : kCases) {
        SCOPED_TRACE(row.what);
        m_directory.write("profile.ini", row.before);
        EXPECT_EQ(1u, WritePrivateProfileString(row.section, row.key, row.value, m_file.c_str()));
        EXPECT_EQ(row.after, m_directory.read("profile.ini"));
    }
}

TEST_F(ProfileWrite, WhatWouldNotReadBackIsRefused) {
    const std::string longest(1021, 'v');
    const std::string tooLong = longest + "v";
    m_directory.write("profile.ini", "[S]\n");
    const struct {
        const char* section;
        const char* key;
        const char* value;
    } cases[] = {{nullptr, "K", "2"},  {"S", "", "2"},
                 {"S", "a=b", "2"},    {"S", "a\nb", "2"},
                 {"S", "[a", "2"},     {"S", "a;b", "2"},
                 {"S", "a ", "2"},     {"S", "a\t", "2"},
                 {"S;x", "K", "2"},    {"S", " a", "2"},
                 {"S]", "K", "2"},     {"S\n", "K", "2"},
                 {"S", "K", "2\nL=3"}, {"S", "K", tooLong.c_str()}};
    for (const auto& [section, key, value] : cases) {
        EXPECT_EQ(0u, WritePrivateProfileString(section, key, value, m_file.c_str())) << key << "=" << value;
    }
    EXPECT_EQ("[S]\n", m_directory.read("profile.ini"));

    std::string out(2000, '\0');
    EXPECT_EQ(1u, WritePrivateProfileString("S", "K", longest.c_str(), m_file.c_str()));
    EXPECT_EQ(1021u, GetPrivateProfileString("S", "K", nullptr, out.data(), 2000, m_file.c_str()));
    EXPECT_STREQ(longest.c_str(), out.c_str());
}

TEST_F(ProfileWrite, MissingFileIsMadeForAValueOnly) {
    EXPECT_EQ(0u, WritePrivateProfileString("S", "K", nullptr, m_file.c_str()));
    EXPECT_EQ(0u, WritePrivateProfileString("S", nullptr, nullptr, m_file.c_str()));
    EXPECT_EQ(0u, WritePrivateProfileString("S", "K", "2", nullptr));
    struct stat status;
    ASSERT_NE(0, ::stat(m_file.c_str(), &status));

    const mode_t mask = ::umask(077);
    EXPECT_EQ(1u, WritePrivateProfileString("S", "K", "2", m_file.c_str()));
    ::umask(mask);
    EXPECT_EQ("\n[S]\n\nK=2\n", m_directory.read("profile.ini"));
    ASSERT_EQ(0, ::stat(m_file.c_str(), &status));
    EXPECT_EQ(0644u, status.st_mode & ALLPERMS);
}

TEST_F(ProfileWrite, SaysWhatItDidOnEveryWay) {
    const test::TraceCapture capture(4);
    WritePrivateProfileString("S", "K", "1", m_file.c_str());
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

} // namespace
} // namespace em

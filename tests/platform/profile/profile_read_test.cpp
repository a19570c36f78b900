#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <string_view>

#include "platform/profile/profile_string.h"
#include "support/temporary_directory.h"
#include "support/trace_capture.h"

namespace em {
namespace {

using namespace std::string_literals;

constexpr char kUntouched = '\x55';

struct Answer {
    uint32_t count;
    std::string buffer; // all of it
};

class ProfileRead : public ::testing::Test {
protected:
    Answer read(const char* section, const char* key, const char* defaultText, uint32_t size) {
        std::string buffer(size, kUntouched);
        const uint32_t count =
            GetPrivateProfileString(section, key, defaultText, buffer.data(), size, m_file.c_str());
        return {count, buffer};
    }

    test::TemporaryDirectory m_directory;
    const std::string m_file = m_directory.path() + "/profile.ini";
};

TEST_F(ProfileRead, Values) {
    const struct {
        const char* what;
        std::string content;
        const char* value; // of A in S; "DEFAULT" where the default is given
    } cases[] = {
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
    for (const auto& row : cases) {
        SCOPED_TRACE(row.what);
        m_directory.write("profile.ini", row.content);
        const Answer answer = read("S", "A", "DEFAULT", 100);
        EXPECT_STREQ(row.value, answer.buffer.c_str());
        EXPECT_EQ(std::string_view(row.value).size(), answer.count);
    }
    m_directory.write("profile.ini", "[S]\nA=" + std::string(3000, 'v') + "\n");
    EXPECT_EQ(1021u, read("S", "A", nullptr, 4000).count);
}

TEST_F(ProfileRead, EverySizeOfBufferIsKept) {
    m_directory.write("profile.ini", "[a]\nk1=12345\nk2=\n[b]\n[cc]\n");
    const std::string rest(1, kUntouched);
    const struct {
        const char* section;
        const char* key;
        uint32_t size;
        uint32_t count;
        std::string buffer;
    } cases[] = {
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
    for (const auto& row : cases) {
        SCOPED_TRACE(std::string(row.section != nullptr ? row.section : "") + " size " +
                     std::to_string(row.size));
        const Answer answer = read(row.section, row.key, "def", row.size);
        EXPECT_EQ(row.count, answer.count);
        EXPECT_EQ(row.buffer, answer.buffer);
    }
    EXPECT_EQ(0u, GetPrivateProfileString("a", "k1", "d", nullptr, 9, m_file.c_str()));
}

TEST_F(ProfileRead, WhatCannotBeReadGivesTheDefault) {
    const std::string fifo = m_directory.path() + "/fifo";
    ASSERT_EQ(0, ::mkfifo(fifo.c_str(), 0600));
    char out[20];
    for (const std::string& file : {m_file, fifo, m_directory.path()}) {
        const test::TraceCapture capture(4);
        EXPECT_EQ(3u, GetPrivateProfileString("S", "A", "def", out, sizeof out, file.c_str()));
        EXPECT_STREQ("def", out);
        EXPECT_EQ("GetPrivateProfileString: Cannot open " + file + "\n", capture.text());
    }
    EXPECT_EQ(3u, GetPrivateProfileString("S", "A", "def", out, sizeof out, nullptr));
    EXPECT_EQ(0u, GetPrivateProfileString("S", nullptr, "def", out, sizeof out, m_file.c_str()));
    EXPECT_STREQ("", out);
}

} // namespace
} // namespace em

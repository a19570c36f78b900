#include "platform/profile/profile_file.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "support/temporary_directory.h"
#include "support/trace_capture.h"

namespace em {
namespace {

using namespace std::string_view_literals;

class ProfileFileTest : public ::testing::Test {
protected:
    test::TemporaryDirectory m_directory;
    CProfileFile m_profile{m_directory.pathOf("profile.ini").c_str()};
};

TEST_F(ProfileFileTest, Numbers) {
    m_directory.write("profile.ini", "[S]\ndec=10\nhex=0x1F\noct=010\nneg=-5\nword=abc\nempty=\n"
                                     "big=4294967297\nlong=00000000000000000000000000000001234\n");
    for (const auto& [key, number] :
         {std::pair("dec", 10u), std::pair("hex", 31u), std::pair("oct", 8u), std::pair("neg", 4294967291u),
          std::pair("word", 0u), std::pair("empty", 77u), std::pair("missing", 77u), std::pair("big", 1u),
          std::pair("long", 0u)}) { // 31 characters count
        EXPECT_EQ(number, m_profile.ReadInteger("S", key, 77)) << key;
    }
}

TEST_F(ProfileFileTest, WhatIsWrittenReadsBack) {
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
    EXPECT_EQ("\n[S]\n\n\ns=-12\n\n", m_directory.read("profile.ini"));
}

TEST_F(ProfileFileTest, ListsGrowUntilTheyFit) {
    // Around the first buffer's size: one less, the exact fit, one more.
    for (size_t length = 1015; length <= 1022; ++length) {
        const std::vector<std::string> wanted{std::string(length - 3, 'n'), "k", "l"};
        m_directory.write("profile.ini", "[S]\n" + wanted[0] + "=\nk=\nl=\n");
        std::vector<std::string> names{"old"};
        EXPECT_TRUE(m_profile.KeyNames("S", names));
        EXPECT_EQ(wanted, names);
    }
    std::vector<std::string> names{"old"};
    EXPECT_FALSE(m_profile.KeyNames("T", names));
    EXPECT_TRUE(names.empty());
}

TEST_F(ProfileFileTest, WithoutFileOrSection) {
    const test::TraceCapture capture(4);
    CProfileFile nameless(nullptr);
    std::vector<std::string> names;
    EXPECT_EQ(5u, nameless.ReadInteger("S", "k", 5));
    EXPECT_STREQ("d", nameless.ReadString("S", "k", "d"));
    EXPECT_FALSE(nameless.SectionNames(names));
    EXPECT_EQ("", capture.text());
    EXPECT_EQ(0u, nameless.WriteUnsigned("S", "k", 5));
    EXPECT_EQ(0u, nameless.DeleteSection("S"));
    const std::string noFile = "WritePrivateProfileString: ## WARNING: invalid pointer to FileName\n";
    EXPECT_EQ(noFile + noFile, capture.text());

    const std::string noSection = "WritePrivateProfileString: ## WARNING: invalid pointer to AppName\n";
    EXPECT_EQ(5u, m_profile.ReadInteger(nullptr, "k", 5));
    EXPECT_EQ(0u, m_profile.WriteValue(nullptr, "k", "v"));
    EXPECT_FALSE(m_profile.KeyNames(nullptr, names));
    EXPECT_EQ(noFile + noFile + noSection + noSection + noSection, capture.text());
}

} // namespace
} // namespace em

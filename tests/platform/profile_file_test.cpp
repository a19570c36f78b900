#include "platform/profile_file.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "support/temporary_directory.h"
#include "support/trace_capture.h"

namespace em {
namespace {

using namespace std::string_view_literals;

class ProfileFileTest : public ::testing::Test {
protected:
    test::TemporaryDirectory m_Directory;
    CProfileFile m_Profile{m_Directory.pathOf("profile.ini").c_str()};
};

TEST_F(ProfileFileTest, Numbers) {
    m_Directory.write("profile.ini", "[S]\ndec=10\nhex=0x1F\noct=010\nneg=-5\nword=abc\nempty=\n"
                                     "big=4294967297\nlong=00000000000000000000000000000001234\n");
    struct Case {
        const char* key;
        uint32_t number;
    };
    for (const Case& row :
         {Case{"dec", 10}, Case{"hex", 31}, Case{"oct", 8}, Case{"neg", 4294967291}, Case{"word", 0},
          Case{"empty", 77}, Case{"missing", 77}, Case{"big", 1}, Case{"long", 0}}) { // 31 characters count
        EXPECT_EQ(row.number, m_Profile.ReadInteger("S", row.key, 77)) << row.key;
    }
}

TEST_F(ProfileFileTest, WrittenNumbersReadBack) {
    EXPECT_EQ(1u, m_Profile.WriteUnsigned("S", "u", 4294967295u));
    EXPECT_EQ(1u, m_Profile.WriteSigned("S", "s", -12));
    EXPECT_STREQ("4294967295", m_Profile.ReadString("S", "u", nullptr));
    EXPECT_STREQ("-12", m_Profile.ReadString("S", "s", nullptr));
    EXPECT_EQ(1u, m_Profile.WriteValue("T", "a", "b"));
    EXPECT_EQ(1u, m_Profile.DeleteKey("S", "u"));
    EXPECT_EQ(1u, m_Profile.DeleteSection("T"));
    EXPECT_EQ("\n[S]\n\n\ns=-12\n\n", m_Directory.read("profile.ini"));
}

TEST_F(ProfileFileTest, ListsGrowUntilTheyFit) {
    // Around the first buffer's size, so that the exact fit and one more and one less are among them.
    for (size_t length = 1010; length <= 1022; ++length) {
        std::string content;
        std::vector<std::string> wanted;
        for (size_t total : {length, size_t{500}, size_t{3}}) {
            wanted.push_back(std::string(std::min<size_t>(total, 1000), 'n') + std::to_string(total));
            content += "[" + wanted.back() + "]\n";
        }
        m_Directory.write("profile.ini", content);
        std::vector<std::string> names{"old"};
        EXPECT_TRUE(m_Profile.SectionNames(names));
        EXPECT_EQ(wanted, names);
    }
}

TEST_F(ProfileFileTest, Lists) {
    m_Directory.write("profile.ini", "[a]\nx=1\ny=2\n[b]\n");
    std::vector<std::string> names;
    EXPECT_TRUE(m_Profile.KeyNames("a", names));
    EXPECT_EQ((std::vector<std::string>{"x", "y"}), names);
    EXPECT_FALSE(m_Profile.KeyNames("b", names));
    EXPECT_TRUE(names.empty());
    EXPECT_EQ("a\0b\0"sv, std::string_view(m_Profile.ReadSectionList(nullptr), 4));
    EXPECT_EQ("x\0y\0"sv, std::string_view(m_Profile.ReadKeyList("a", nullptr), 4));
    EXPECT_STREQ("none", m_Profile.ReadKeyList("b", "none"));
    EXPECT_STREQ("", m_Profile.ReadString("a", "z", nullptr));
    EXPECT_STREQ("z", m_Profile.ReadString("a", "z", "z"));
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
    EXPECT_EQ(5u, m_Profile.ReadInteger(nullptr, "k", 5));
    EXPECT_EQ(0u, m_Profile.WriteValue(nullptr, "k", "v"));
    EXPECT_FALSE(m_Profile.KeyNames(nullptr, names));
    EXPECT_EQ(noFile + noFile + noSection + noSection + noSection, capture.text());
}

} // namespace
} // namespace em

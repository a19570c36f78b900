// Where the message file is searched, and what the trace says of it.
#include "catalogue/log_msg_file.h"

#include "catalogue/message_directory.h"
#include "frame/configuration/installation_roots.h"
#include "support/unit_test.h"

namespace em {
namespace {

std::string messageFile(const std::string& summary) {
    return "<EventMsg><Events><Event ErrorCode='0x0E0001'><Messages lang='en'><Summary>" + summary +
           "</Summary></Messages></Event></Events></EventMsg>";
}

struct LogMsgFile : test::UnitTest {
    LogMsgFile() { std::filesystem::current_path(m_files.path()); }
    ~LogMsgFile() override { std::filesystem::current_path("/"); }

    [[nodiscard]] std::string summary() const { return m_messages.LookUp("0x0e0001", "Summary", nullptr, 0); }

    CLogMsgFile m_messages;
};

TEST_F(LogMsgFile, FoundInTheCurrentDirectory) {
    m_files.write("EVENTMSG.XML", messageFile("%n%s"));
    const test::TraceCapture capture(4);
    EXPECT_TRUE(m_messages.Open(true));
    const std::string path = m_files.pathOf("EVENTMSG.XML");
    EXPECT_EQ("\nCLogMsgFile         : Use event messages file \"EVENTMSG.XML\" for decoding"
              "\nCLogMsgFile         : Search for file in current directory ..."
              "\nCLogMsgFile         : Try to open file \"" +
                  path + "\"\nCLogMsgFile         : Event messages successfully opened in \"" + path + "\"!",
              capture.text());
    EXPECT_TRUE(m_messages.EventMessages());
    EXPECT_EQ("%n%s", summary());
}

TEST_F(LogMsgFile, NotFoundIsNoErrorAndDropsWhatWasThere) {
    m_files.write("EVENTMSG.XML", messageFile("pressed"));
    ASSERT_TRUE(m_messages.Open(true));
    const test::TraceCapture capture(4);
    EXPECT_FALSE(m_messages.Open(false));
    const std::string path = m_files.pathOf("ERRMSG.XML");
    const std::string attempt = "\nCLogMsgFile         : Try to open file \"" + path + "\"";
    EXPECT_EQ("\nCLogMsgFile         : Use event messages file \"ERRMSG.XML\" for decoding"
              "\nCLogMsgFile         : Search for file in current directory ..." +
                  attempt + "\nCLogMsgFile         : Search for file in registered directory ..." + attempt +
                  "\nCLogMsgFile         : Event messages not opened in \"" + path + "\"!",
              capture.text("CRegistry"));
    EXPECT_FALSE(m_messages.EventMessages());
    EXPECT_EQ("", summary());
}

TEST_F(LogMsgFile, BadFileIsPassedOverWithItsReason) {
    m_files.write("EVENTMSG.XML", "<EventMsg>\xfc</EventMsg>");
    const test::TraceCapture capture(4);
    EXPECT_FALSE(m_messages.Open(true));
    EXPECT_TRUE(capture.contains("## WARNING! File \"" + m_files.pathOf("EVENTMSG.XML") +
                                 "\" not loaded: it is not valid in its encoding (byte 10)"));
}

TEST_F(LogMsgFile, UnknownCurrentDirectory) {
    m_files.write("EVENTMSG.XML", messageFile("pressed"));
    fake::failNth("getcwd", 1, ENOENT, 0);
    EXPECT_TRUE(m_messages.Open(true));
    EXPECT_EQ("./EVENTMSG.XML", m_messages.Path());
}

TEST(MessageDirectory, IsJoinedFromTheRoots) {
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"/a/b/", "/f", "/a/b"}, {"/a/b", "/f", "/a/b"}, {"/a//", "", "/a"},   {"/a\\", "", "/a"},
        {"/", "/f", ""},         {"a", "/f", "a"},       {"", "/f", "/f/Bin"}, {"", "/f/", "/f/Bin"},
        {"", "/f//", "/f/Bin"},  {"", "/", "/Bin"},      {"", "f", "f/Bin"},   {"", "", "otherwise"},
    };
    for (const auto& [binRoot, fileRoot, directory] : cases) {
        EXPECT_EQ(directory, messageDirectory({binRoot, fileRoot}, "otherwise"))
            << binRoot << "|" << fileRoot;
    }
}

} // namespace
} // namespace em

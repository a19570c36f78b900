#include "catalogue/log_msg_xml_file_impl.h"

#include <limits>

#include "support/unit_test.h"

namespace em {
namespace {

constexpr const char* kMessages = R"(<?xml version="1.0"?>
<EventMsg>
  <Other/>
  <Events>
    <Event/>
    <Event ErrorCode="0x0E000A">
      <Messages/>
      <Messages lang="DE"><Summary>deutsch</Summary></Messages>
      <Messages lang="en"><Summary>first</Summary><Hint>hint</Hint><Summary> second </Summary></Messages>
      <Messages lang="en"><Summary>twin</Summary><Late>late</Late></Messages>
    </Event>
    <Event ErrorCode="0x0e000a"><Messages lang="fr"><Summary>twin</Summary></Messages></Event>
    <Event ErrorCode="0x0E0001"><Messages lang="de"><Summary>nur deutsch</Summary></Messages></Event>
    <Event ErrorCode="0x1234"><Messages lang=""><Summary>no language</Summary></Messages></Event>
    <event ErrorCode="0x0E0002"><Messages lang="en"><Summary>wrong name</Summary></Messages></event>
  </Events>
  <Events><Event ErrorCode="0x0E0003"><Messages lang="en"><Summary>twin</Summary></Messages></Event></Events>
</EventMsg>)";

TEST(CLogMsgXmlFileImpl, LooksUp) {
    XmlDocument document;
    ASSERT_TRUE(document.loadBytes(kMessages, std::string(kMessages).size()).loaded());
    const CLogMsgXmlFileImpl messages(document);
    const std::tuple<const char*, const char*, const char*, int32_t, const char*> cases[] = {
        {"0x0E000A", "Summary", nullptr, 0, "first"},
        {"0x0e000a", "Summary", "EN", 1, " second "},
        {"0x0E000A", "Summary", "de", 0, "deutsch"},
        {"0x0E000A", "Summary", nullptr, 2, ""},
        {"0x0E000A", "Summary", nullptr, -1, ""},
        {"0x0E000A", "Summary", nullptr, std::numeric_limits<int32_t>::max(), ""},
        {"0x0E000A", "summary", nullptr, 0, ""},
        {"0x0E000A", "Late", nullptr, 0, ""},    // no later twin of the language
        {"0x0E000A", "Summary", "fr", 0, ""},    // nor of the code
        {"0x0E000A", "Summary", "", 0, ""},      // a missing attribute never matches
        {"0x0E0001", "Summary", nullptr, 0, ""}, // nor another language instead
        {"0x0E0001", "Summary", "de", 0, "nur deutsch"},
        {"0x1234", "Summary", "", 0, "no language"},
        {"0x0E0002", "Summary", nullptr, 0, ""},
        {"0x0E0003", "Summary", nullptr, 0, ""},
        {nullptr, "Summary", nullptr, 0, ""},
    };
    for (const auto& [code, field, language, index, text] : cases) {
        EXPECT_EQ(text, messages.Search(code, field, language, index))
            << (code != nullptr ? code : "null") << " " << text;
    }
}

TEST(CLogMsgXmlFileImpl, SaysWhatItLooksFor) {
    const XmlDocument nothing;
    const CLogMsgXmlFileImpl messages(nothing);
    const test::TraceCapture capture(4);
    EXPECT_EQ("", messages.Search("0x0E0001", "Summary", nullptr, 0));
    EXPECT_EQ("", messages.Search(nullptr, nullptr, "de", -3));
    const std::string begin = "\nCLogMsgXmlFileImpl  : Search message for error code ";
    EXPECT_EQ(begin + "0x0E0001 (Key: \"Summary\" Lang: \"en\" Index 0)" + begin +
                  " (Key: \"\" Lang: \"de\" Index -3)",
              capture.text());
}

} // namespace
} // namespace em

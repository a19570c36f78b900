// Texts of a picture: what becomes of what came from outside.
#include <gtest/gtest.h>

#include "host/picture/columns.h"
#include "host/picture/message_label.h"
#include "host/picture/svg_writer.h"

namespace volad_dev {
namespace {

TEST(Columns, CutBetweenCharacters) {
    EXPECT_EQ(columnsOf("a\u00E9\u65E5\u672C\U0001F600"), 8U);
    const struct {
        const char* text;
        size_t most;
        const char* cut;
    } rows[] = {{"abcdef", 6, "abcdef"},
                {"abcdef", 5, "ab..."},
                {"abcdef", 2, ".."},
                {"", 0, ""},
                {"\u00E9\u00E9abc", 4, "\u00E9..."},
                {"\u65E5\u672C\u65E5", 5, "\u65E5..."}};
    for (const auto& row : rows) {
        EXPECT_EQ(cutTo(row.text, row.most), row.cut);
    }
}

TEST(XmlText, HoldsNothingThatXmlForbids) {
    EXPECT_EQ(xmlText("<a href=\"x\">&amp;'</a>"), "&lt;a href=&quot;x&quot;&gt;&amp;amp;'&lt;/a&gt;");
    EXPECT_EQ(xmlText(std::string_view("\0\b\n\r\t\x1b\x7f\xff\u2028", 11)),
              "\\x00\\x08\\n\\r\\t\\x1B\\x7F\\xFF\\xE2\\x80\\xA8");
}

TEST(MessageLabel, NamesTheOperation) {
    const struct {
        const char *command, *label;
    } rows[] = {
        {R"("OC":517,"CA":1,"DA":3)", "517 CM_RequestShutdownAndOff: 3"},
        {R"("OC":"0x205","DA":"3","ST":0)", "517 CM_RequestShutdownAndOff: 3"},
        {R"("OC":"01005","ST":"25")", "517 CM_RequestShutdownAndOff (ST 25)"},
        {R"("OC":281,"ST":22,"DA":1)", "281 power-switch notifications: 1"},
        {R"("OC":57345,"OE":5904,"DA":"a\nb\u001b")", "0xE001 cleanup job: a\\nb\\x1B"},
        {R"("OC":57345,"OE":5905,"ST":1)", "0xE001 the job's working directory (ST 1)"},
        {R"("OC":57345,"OE":1)", "0xE001 host settings"},
        {R"("OC":257,"DA":{"RAW":[0,3]})", R"(257 power-on status event: {"RAW":[0,3]})"},
        {R"("OC":999)", "999"},
        {R"("OC":"x")", "no operation code"},
        {R"("OC":-1)", "no operation code"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(messageLabel(std::string(R"({"SIP":{"CMD":[{)") + row.command + "}]}}"), row.label);
    }
    for (const char* const envelope :
         {"", "{}", "[]", R"({"SIP":[]})", R"({"SIP":{"CMD":[]}})", R"({"SIP":{"CMD":[7]}})"}) {
        EXPECT_EQ(messageLabel(envelope), "no operation code") << envelope;
    }
}

} // namespace
} // namespace volad_dev

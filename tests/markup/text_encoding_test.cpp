// Every way in which a document tells its encoding, truthfully or not.
#include "markup/text_encoding.h"

#include "base/utf8.h"
#include "markup/xml_cursor.h"
#include "markup/xml_document.h"
#include "support/unit_test.h"

namespace em {
namespace {

using namespace std::string_literals;

std::string utf16(const std::u16string& text, bool bigEndian) {
    std::string bytes;
    for (const char16_t unit : text) {
        const char high = static_cast<char>(unit >> 8);
        const char low = static_cast<char>(unit & 0xFF);
        bytes += bigEndian ? high : low;
        bytes += bigEndian ? low : high;
    }
    return bytes;
}

std::string declared(const std::string& name, const std::string& text) {
    return "<?xml version='1.0' encoding='" + name + "' ?><a>" + text + "</a>";
}

TEST(XmlEncoding, Decoded) {
    const std::u16string wide = u"<a>\u00fc\U0001F600</a>";
    const std::tuple<const char*, std::string, const char*> cases[] = {
        {"nothing said", "<a>\xc3\xbc</a>", "\xc3\xbc"},
        {"UTF-8 mark", "\xEF\xBB\xBF<a>\xc3\xbc</a>", "\xc3\xbc"},
        {"UTF-16 little-endian", "\xFF\xFE" + utf16(wide, false), "\xc3\xbc\xf0\x9f\x98\x80"},
        {"UTF-16 big-endian", "\xFE\xFF" + utf16(wide, true), "\xc3\xbc\xf0\x9f\x98\x80"},
        {"a mark beats the declaration", "\xEF\xBB\xBF" + declared("ISO-8859-1", "\xc3\xbc"), "\xc3\xbc"},
        {"UTF-16 with its own name",
         "\xFF\xFE" + utf16(u"<?xml version=\"1.0\" encoding=\"UTF-16\"?><a>x</a>", false), "x"},
        {"Latin-1", declared("ISO-8859-1", "\xfc"), "\xc3\xbc"},
        {"Shift_JIS", declared("Shift_JIS", "\x83\x65"), "\xe3\x83\x86"},
        {"double quotes and blanks", "<?xml version = \"1.0\"\n encoding = \"ISO-8859-1\"?><a>\xfc</a>",
         "\xc3\xbc"},
        {"only at the very start", " <!-- <?xml encoding='x'?> --><a>x</a>", "x"},
    };
    for (const auto& [what, bytes, text] : cases) {
        SCOPED_TRACE(what);
        XmlDocument document;
        const XmlLoadResult result = document.loadBytes(bytes.data(), bytes.size());
        ASSERT_TRUE(result.loaded()) << result.reason;
        XmlCursor cursor(document);
        ASSERT_TRUE(cursor.findNext("a"));
        EXPECT_EQ(text, cursor.characterData());
    }
}

constexpr const char* kInvalid = "it is not valid in its encoding";
constexpr const char* kLying = "it is not in the encoding that its declaration names";
constexpr const char* kUnusable = "its declaration holds no usable encoding name";
constexpr const char* kIncomplete = "it ends within a character";

TEST(XmlEncoding, Refused) {
    const std::string head = "<?xml version='1.0' encoding='UTF-8'?><a>";
    // The offset 0 is not looked at.
    const std::tuple<const char*, std::string, const char*, size_t> cases[] = {
        {"Latin-1 without a word", "<a>\xfc</a>", kInvalid, 3},
        {"Latin-1 that says UTF-8", head + "\xfc</a>", kInvalid, head.size()},
        {"beyond Unicode", "<a>\xf4\x90\x80\x80</a>", kInvalid, 3},
        {"cut in a character", "<a/>\xc3", kIncomplete, 4},
        {"cut in its third byte", "<a/>\xe2\x82", kIncomplete, 4},
        {"no character, however it went on", "<a/>\xe0\x80", kInvalid, 4},
        {"UTF-16 cut in half", "\xFF\xFE" + utf16(u"<a/>", false) + "x", kIncomplete, 8},
        {"half a surrogate pair", "\xFF\xFE" + utf16(u"<a>", false) + "\x01\xD8x\0"s, kInvalid, 6},
        {"NUL", "<a>\0</a>"s, "it holds a NUL character", 0},
        {"UTF-32, whose mark begins like UTF-16's", "\xFF\xFE\0\0<\0\0\0"s, "it holds a NUL character", 0},
        {"unknown name", declared("X-No-Such", "x"), "its encoding is not known here", 0},
        {"name with options for iconv", declared("ASCII//TRANSLIT", "x"), kUnusable, 0},
        {"name with a blank", declared("UTF-8 ", "x"), kUnusable, 0},
    };
    for (const auto& [what, bytes, reason, offset] : cases) {
        SCOPED_TRACE(what);
        XmlDocument document;
        const XmlLoadResult result = document.loadBytes(bytes.data(), bytes.size());
        EXPECT_STREQ(reason, result.reason);
        EXPECT_TRUE(offset == 0 || offset == result.offset) << result.offset;
        EXPECT_FALSE(XmlCursor(document).findNext("a"));
    }
}

TEST(XmlEncoding, WhatWasReadableAsAsciiIsNotInAWideEncoding) {
    for (const char* name : {"UTF-16", "UTF-16LE", "UTF-32", "WCHAR_T", "EBCDIC-US"}) {
        for (const char* padding : {"", " ", "  ", "   "}) { // whole characters of every width among them
            const std::string bytes = declared(name, padding);
            EXPECT_FALSE(XmlDocument().loadBytes(bytes.data(), bytes.size()).loaded()) << name;
        }
    }
    const std::string whole = declared("UTF-16LE", " "); // valid there, of other characters
    EXPECT_STREQ(kLying, XmlDocument().loadBytes(whole.data(), whole.size()).reason);
}

TEST(XmlEncoding, TextIsBounded) {
    // Each byte of this encoding becomes nine.
    std::string bytes = "<?xml version='1.0' encoding='TSCII'?><a>";
    bytes.resize(kLargestXmlText / 9 + 100, '\x87');
    TextEncoding encoding;
    ASSERT_EQ(nullptr, detectEncoding(bytes, encoding));
    DecodedText decoded;
    size_t offset = 0;
    EXPECT_STREQ("its text is longer than 64 MiB", decodeText(encoding, decoded, offset));
}

TEST(Utf8, LongestValidBeginning) {
    EXPECT_EQ(17U, validUtf8Length("a\xc3\xbc\xe0\xa0\x80\xed\x9f\xbf\xf0\x90\x80\x80\xf4\x8f\xbf\xbf"));
    for (size_t at = 0; at < 20; ++at) { // wherever in the eight that are looked at together
        std::string text(20, 'a');
        text[at] = '\xff';
        EXPECT_EQ(at, validUtf8Length(text));
    }
    // Cut, longer than needed, a surrogate, beyond Unicode.
    const std::pair<const char*, size_t> cases[] = {
        {"", 0},
        {"a\xc3", 1},
        {"a\x80", 1},
        {"\xe2\x82g", 0},
        {"\xf1\x80\x80g", 0},
        {"\xc1\xbf", 0},
        {"\xe0\x9f\xbf", 0},
        {"\xf0\x8f\xbf\xbf", 0},
        {"\xed\xa0\x80", 0},
        {"\xf4\x90\x80\x80", 0},
    };
    for (const auto& [text, length] : cases) {
        EXPECT_EQ(length, validUtf8Length(text)) << ::testing::PrintToString(std::string(text));
    }
}

} // namespace
} // namespace em

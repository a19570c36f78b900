#include "markup/xml_document.h"

#include "markup/xml_cursor.h"
#include "support/unit_test.h"

namespace em {
namespace {

XmlLoadResult load(XmlDocument& document, const std::string& bytes) {
    return document.loadBytes(bytes.data(), bytes.size());
}

std::string nested(unsigned levels) {
    std::string opening;
    std::string closing;
    for (unsigned i = 0; i < levels; ++i) {
        opening += "<n>";
        closing += "</n>";
    }
    return opening + closing;
}

TEST(XmlDocument, LoadsWellFormedDocumentsOnly) {
    const std::tuple<const char*, std::string, bool> cases[] = {
        {"things around", "<?xml version='1.0'?><!-- c --><?p x?>\n<a/>\n<!-- d -->", true},
        {"nothing", "", false},
        {"no element", "<!-- c -->", false},
        {"two document elements", "<a/><b/>", false},
        {"text in front", "x<a/>", false},
        {"text behind", "<a/>\n&amp;", false},
        {"CDATA behind", "<a/><![CDATA[ ]]>", false},
        {"not closed", "<a><b></a>", false},
        {"deepest", nested(256), true},
        {"too deep", nested(257), false},
        {"deep enough for a stack", nested(100000), false},
    };
    XmlDocument document;
    for (const auto& [what, bytes, loaded] : cases) {
        const XmlLoadResult result = load(document, bytes);
        EXPECT_EQ(loaded, result.loaded()) << what << ": " << (result.loaded() ? "" : result.reason);
    }
}

TEST(XmlDocument, DeclaredEntitiesStayAsWritten) {
    XmlDocument document;
    ASSERT_TRUE(load(document, "<!DOCTYPE a [<!ENTITY e SYSTEM 'file:///etc/passwd'><!ENTITY f '&e;&e;'>]>"
                               "<a b='&f;'>&e;|&f;|&none;|&lt;&gt;&amp;&quot;&apos;|&#65;&#x42;</a>")
                    .loaded());
    XmlCursor cursor(document);
    ASSERT_TRUE(cursor.findNext("a"));
    EXPECT_EQ("&e;|&f;|&none;|<>&\"'|AB", cursor.characterData());
    EXPECT_STREQ("&f;", cursor.attribute("b"));
}

using XmlFiles = test::UnitTest;

TEST_F(XmlFiles, LoadOrTellWhyNot) {
    m_files.write("good.xml", "<a/>");
    m_files.write("empty.xml", "");
    m_files.write("large.xml", "<a>" + std::string(kLargestXmlFile, ' ') + "</a>");
    ASSERT_EQ(0, ::mkfifo(m_files.pathOf("fifo.xml").c_str(), 0600));
    constexpr std::pair<const char*, const char*> kCases[] = {{"missing.xml", "there is no such file"},
                                                              {"empty.xml", "it is empty"},
                                                              {"large.xml", "it is larger than 16 MiB"},
                                                              {"fifo.xml", "it is no regular file"},
                                                              {"", "it is no regular file"}};
    XmlDocument document;
    for (const auto& [file, reason] : kCases) {
        const XmlLoadResult result = document.loadFile(m_files.pathOf(file).c_str());
        EXPECT_STREQ(reason, result.reason) << file;
        EXPECT_EQ(file == std::string("missing.xml"), result.missing);
    }
    ASSERT_TRUE(document.loadFile(m_files.pathOf("good.xml").c_str()).loaded());
    fake::failNth("read", 1, EIO);
    EXPECT_STREQ("it cannot be read", document.loadFile(m_files.pathOf("good.xml").c_str()).reason);
    EXPECT_FALSE(XmlCursor(document).findNext("a")) << "the document of before is gone";
    ASSERT_TRUE(document.loadBytes("<a/>", 4).loaded());
    EXPECT_FALSE(document.loadBytes("", kLargestXmlFile + 1).loaded());
    EXPECT_FALSE(XmlCursor(document).findNext("a"));
}

TEST(XmlCursor, Walks) {
    XmlDocument document;
    ASSERT_TRUE(load(document, "<r><?a n='0'?><a n='1'><x/></a><b/><?a?><a n='2'>t</a></r>").loaded());
    XmlCursor cursor(document);
    EXPECT_FALSE(cursor.goIn() || cursor.findNext("a"));
    ASSERT_TRUE(cursor.findNext("r") && !cursor.findNext("r") && cursor.goIn() && cursor.findNext("a"));
    EXPECT_STREQ("1", cursor.attribute("n"));
    EXPECT_EQ(nullptr, cursor.attribute("N"));
    XmlCursor inside = cursor;
    ASSERT_TRUE(inside.goIn());
    EXPECT_EQ(nullptr, inside.attribute("n")) << "in front of the first child";
    ASSERT_TRUE(!inside.findNext("X") && cursor.findNext("a"));
    EXPECT_STREQ("2", cursor.attribute("n"));
    EXPECT_FALSE(cursor.findNext("a"));
    EXPECT_EQ("t", cursor.characterData()) << "still where it was";
}

TEST(XmlCursor, CharacterData) {
    const std::pair<const char*, const char*> cases[] = {
        {" a\n ", " a\n "},
        {" a <![CDATA[<b>]]> <![CDATA[c]]> ", " a <b>c"}, // blanks alone between two markups are none
        {" \n ", " \n "},                                 // but for an element's only content
        {"\n <b/>\n", ""},
        {" ", " "},
        {"<!-- c --> ", ""}, // beside anything else they are not the only content
        {" <?p x?>", ""},
        {"a<!-- no -->b<x>no</x>c<?p no?>", "abc"},
        {"a\r\nb", "a\nb"},
        {"a&#0;b<![CDATA[c]]>d", "a"}, // whatever the piece that it stands in
        {"a&#x000;b", "a"},
        {"a&#4294967296;b", "a"}, // as the parser counts
        {"a<![CDATA[&#0;]]><!-- &#0; --><?p &#0;?>b", "a&#0;b"},
        {"a<x y='<!--' z='&#0;'/>&#0;b<![CDATA[c]]>", "a"}, // nothing begins within a value
        {"a&#;&#x;&#0 b&#10;", "a&#;&#x;&#0 b\n"},
        {"a&#xD800;b", "a"},
        {"%n%s", "%n%s"},
    };
    for (const auto& [content, text] : cases) {
        XmlDocument document;
        ASSERT_TRUE(load(document, "<a>" + std::string(content) + "</a>").loaded()) << content;
        XmlCursor cursor(document);
        ASSERT_TRUE(cursor.findNext("a"));
        EXPECT_EQ(text, cursor.characterData());
    }
}

} // namespace
} // namespace em

// An XML document in memory. Elements are reached through a cursor (markup/xml_cursor.h).
#pragma once

#include <cstddef>
#include <memory>

#include "markup/text_encoding.h"

namespace pugi {
class xml_document;
}

namespace em {

constexpr size_t kLargestXmlFile = 16UL * 1024 * 1024; // bytes
constexpr unsigned kDeepestXml = 256;                  // elements within elements

struct XmlLoadResult {
    const char* reason = nullptr; // why it was not loaded, a static text; null when it was
    size_t offset = 0;            // byte at which the reason was found, where there is one, else 0
    bool missing = false;         // there is no such file

    [[nodiscard]] bool loaded() const { return reason == nullptr; }
};

class XmlDocument {
public:
    XmlDocument();
    ~XmlDocument();
    XmlDocument(const XmlDocument&) = delete;
    XmlDocument& operator=(const XmlDocument&) = delete;

    // Loads a well-formed document, in any encoding that a byte-order mark or the declaration tells and iconv
    // knows. Document type declarations are skipped, entities that they declare stand as written, and nothing
    // else is ever opened. After a failure the document is empty. Does not throw.
    [[nodiscard]] XmlLoadResult loadFile(const char* path);
    [[nodiscard]] XmlLoadResult loadBytes(const char* bytes, size_t size);
    void clear();

private:
    friend class XmlCursor;
    XmlLoadResult load(FileContent&& content);
    XmlLoadResult decodeAndParse(size_t size);
    XmlLoadResult parse();

    DecodedText m_text;                         // the parsed tree points into it
    std::unique_ptr<pugi::xml_document> m_tree; // null when nothing is loaded
};

} // namespace em

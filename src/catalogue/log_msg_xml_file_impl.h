// The look-up in a loaded message file.
#pragma once

#include <cstdint>
#include <string>

#include "markup/xml_document.h"

namespace em {

// Message files look like this; names are exact, attribute values are compared without regard to case:
//   <EventMsg><Events><Event ErrorCode="0x0E0001"><Messages lang="en"><Summary>text</Summary>...
class CLogMsgXmlFileImpl {
public:
    explicit CLogMsgXmlFileImpl(const XmlDocument& document) : m_document(document) {}

    // The index-th text (from 0) of the field, of the first such code and in it the first such language.
    // Empty when anything is missing on the way: no later repetition of a code or language is tried. A null
    // code or field matches nothing; a null language means "en". May throw bad_alloc.
    [[nodiscard]] std::string Search(const char* code, const char* field, const char* language,
                                     int32_t index) const;

private:
    const XmlDocument& m_document;
};

} // namespace em

#include "catalogue/log_msg_xml_file_impl.h"

#include "base/ascii.h"
#include "markup/xml_cursor.h"
#include "trace/trace.h"

namespace em {
namespace {

bool enter(XmlCursor& cursor, const char* element) {
    return cursor.findNext(element) && cursor.goIn();
}

// Into the first element of that name whose attribute has that value.
// The first match decides; a later element of the same code or language is never entered.
bool enterMatching(XmlCursor& cursor, const char* element, const char* attribute, const char* wanted) {
    while (cursor.findNext(element)) {
        const char* const value = cursor.attribute(attribute);
        if (value != nullptr && equalsIgnoringAsciiCase(value, wanted)) {
            return cursor.goIn();
        }
    }
    return false;
}

bool findNth(XmlCursor& cursor, const char* element, int32_t index) {
    for (int32_t count = 0; cursor.findNext(element); ++count) {
        if (count == index) {
            return true;
        }
    }
    return false;
}

} // namespace

std::string CLogMsgXmlFileImpl::Search(const char* code, const char* field, const char* language,
                                       int32_t index) const {
    const char* const lang = textOr(language, "en");
    EM_TRACE(4,
             "\nCLogMsgXmlFileImpl  : Search message for error code %s (Key: \"%s\" Lang: \"%s\" Index %d)",
             textOr(code), textOr(field), lang, index);
    XmlCursor cursor(m_document);
    if (code == nullptr || field == nullptr || index < 0 || !enter(cursor, "EventMsg") ||
        !enter(cursor, "Events") || !enterMatching(cursor, "Event", "ErrorCode", code) ||
        !enterMatching(cursor, "Messages", "lang", lang) || !findNth(cursor, field, index)) {
        return {};
    }
    return cursor.characterData();
}

} // namespace em

// Any bytes as an XML file: loaded or refused with a reason, and every element of what was loaded can be
// walked. Text that comes out is UTF-8.
#include <cstdint>
#include <string>

#include "base/utf8.h"
#include "catalogue/log_msg_xml_file_impl.h"
#include "input.h"
#include "markup/xml_cursor.h"
#include "markup/xml_document.h"

namespace {

using fuzz::require;

// Down and along by the names that the fuzzer's dictionary and corpus know.
void walk(em::XmlCursor& cursor, unsigned depth) {
    for (const char* name : {"EventMsg", "Events", "Event", "Messages", "Summary", "a", "b"}) {
        em::XmlCursor place = cursor;
        for (unsigned count = 0; count < 4 && place.findNext(name); ++count) {
            const std::string text = place.characterData();
            require(em::validUtf8Length(text) == text.size());
            static_cast<void>(place.attribute("ErrorCode"));
            if (depth > 0) {
                em::XmlCursor inside = place;
                require(inside.goIn());
                walk(inside, depth - 1);
            }
        }
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    em::XmlDocument document;
    const em::XmlLoadResult result = document.loadBytes(reinterpret_cast<const char*>(data), size);
    em::XmlCursor cursor(document);
    require(result.loaded() || !cursor.findNext("a"));
    walk(cursor, 4);
    static_cast<void>(em::CLogMsgXmlFileImpl(document).Search("0x0E0001", "Summary", "en", 0));
    return 0;
}

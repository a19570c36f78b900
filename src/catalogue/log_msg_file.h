// The host's message catalogue: localised texts for event and error codes, from the XML message file of the
// installation.
#pragma once

#include <cstdint>
#include <string>

#include "markup/xml_document.h"

namespace em {

// Used by one thread at a time; holds no lock of its own. No operation throws: short memory counts as "not
// found".
class CLogMsgFile {
public:
    // Finds and loads the file of event messages ("EVENTMSG.XML") or of error messages ("ERRMSG.XML"): in the
    // current directory, then in the installation's directory of binaries. What was loaded before is dropped
    // in any case. True when a file was found and loaded.
    [[nodiscard]] bool Open(bool eventMessages);

    // As given to the last Open. With event messages, codes are written "0x%06X", else "0x%04X".
    [[nodiscard]] bool EventMessages() const { return m_eventMessages; }
    // The path tried last, also when it could not be loaded; empty before the first Open.
    [[nodiscard]] const std::string& Path() const { return m_path; }

    // The text of that code (compared without regard to case), field and language (null = "en"); index 0 is
    // the field's first text. UTF-8; empty when there is none.
    [[nodiscard]] std::string LookUp(const char* code, const char* field, const char* language,
                                     int32_t index) const;

private:
    [[nodiscard]] bool Find(const char* fileName);
    [[nodiscard]] bool TryToOpen(const std::string& directory, const char* fileName);

    XmlDocument m_document;
    std::string m_path;
    bool m_eventMessages = false;
};

} // namespace em

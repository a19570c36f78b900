#include "catalogue/log_msg_file.h"

#include "base/current_directory.h"
#include "base/swallow.h"
#include "catalogue/log_msg_xml_file_impl.h"
#include "catalogue/message_directory.h"
#include "contract/places.h"
#include "frame/configuration/installation_roots.h"
#include "trace/trace.h"

namespace em {

bool CLogMsgFile::Open(bool eventMessages) {
    m_eventMessages = eventMessages;
    // First: a look-up behind a failed search must not find what an earlier one loaded.
    m_document.clear();
    const char* const fileName = eventMessages ? place::kEventMessages : place::kErrorMessages;
    EM_TRACE(4, "\nCLogMsgFile         : Use event messages file \"%s\" for decoding", fileName);
    bool opened = false;
    static_cast<void>(swallow([&] { opened = Find(fileName); }));
    EM_TRACE(2, "\nCLogMsgFile         : Event messages %s opened in \"%s\"!",
             opened ? "successfully" : "not", m_path.c_str());
    return opened;
}

bool CLogMsgFile::Find(const char* fileName) {
    EM_TRACE(4, "\nCLogMsgFile         : Search for file in current directory ...");
    std::string current;
    if (GetCurrentDirectory(current) && TryToOpen(current, fileName)) {
        return true;
    }
    EM_TRACE(4, "\nCLogMsgFile         : Search for file in registered directory ...");
    // An empty text would be the root directory.
    return TryToOpen(messageDirectory(findInstallationRoots(), current.empty() ? "." : current), fileName);
}

bool CLogMsgFile::TryToOpen(const std::string& directory, const char* fileName) {
    m_path = directory + "/" + fileName;
    EM_TRACE(4, "\nCLogMsgFile         : Try to open file \"%s\"", m_path.c_str());
    const XmlLoadResult result = m_document.loadFile(m_path.c_str());
    if (!result.loaded() && !result.missing) {
        EM_TRACE(4, "\nCLogMsgFile         : ## WARNING! File \"%s\" not loaded: %s (byte %zu)",
                 m_path.c_str(), result.reason, result.offset);
    }
    return result.loaded();
}

std::string CLogMsgFile::LookUp(const char* code, const char* field, const char* language,
                                int32_t index) const {
    std::string text;
    static_cast<void>(
        swallow([&] { text = CLogMsgXmlFileImpl(m_document).Search(code, field, language, index); }));
    return text;
}

} // namespace em

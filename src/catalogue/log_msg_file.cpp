#include "catalogue/log_msg_file.h"

namespace em {

bool CLogMsgFile::Open(bool eventMessages) {
    m_bEventMessages = eventMessages;
    return false;
}

std::string CLogMsgFile::LookUp(const char* /*code*/, const char* /*field*/, const char* /*language*/,
                                int32_t /*index*/) const {
    return {};
}

} // namespace em

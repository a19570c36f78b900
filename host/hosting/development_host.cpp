#include "host/hosting/development_host.h"

#include "frame/envelope/sip_json.h"
#include "host/hosting/answers.h"

namespace volad_dev {

void DevelopmentHost::sendMessage(em::CIExtensionModule* /*module*/, em::SipJson* envelope,
                                  uint32_t timeoutMs) {
    Message message;
    message.time = monotonicNow();
    message.opcode = envelope->GetUint(em::key::OperationCode, 0);
    message.extension = envelope->GetUint(em::key::Extension, 0);
    if (!envelope->GetDataUint(message.data)) {
        message.data = 0;
    }
    message.isRequest = timeoutMs != 0;
    if (message.isRequest) {
        answerRequest(*envelope, m_settings);
    }
    m_journal.add(message);
}

} // namespace volad_dev

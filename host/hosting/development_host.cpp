#include "host/hosting/development_host.h"

#include "contract/operation_codes.h"
#include "contract/settings.h"
#include "frame/envelope/sip_json.h"
#include "host/hosting/answers.h"

namespace volad_dev {

void DevelopmentHost::sendMessage(em::CIExtensionModule* /*module*/, em::SipJson* envelope,
                                  uint32_t timeoutMs) {
    const Message message = messageOf(*envelope, false);
    m_journal.add(message);
    watchForJob(message);
    if (timeoutMs != 0) {
        answerRequest(*envelope, m_settings);
        m_journal.add(messageOf(*envelope, true));
    }
}

// A job that is named is started right behind the answer to the last question about it, by the same thread.
void DevelopmentHost::watchForJob(const Message& message) {
    if (message.opcode == em::opcode::kHostSettings && message.extension == em::setting::kJobTimeout.item &&
        m_settings.jobName && !m_settings.jobName->empty()) {
        m_jobWatch.expect();
    } else {
        m_jobWatch.expectNothing();
    }
}

} // namespace volad_dev

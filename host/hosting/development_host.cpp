#include "host/hosting/development_host.h"

#include "contract/operation_codes.h"
#include "contract/settings.h"
#include "frame/envelope/sip_json.h"
#include "host/hosting/answers.h"

namespace volad_dev {

void DevelopmentHost::sendMessage(em::CIExtensionModule* /*module*/, em::SipJson* envelope,
                                  uint32_t timeoutMs) {
    const Settings settings = this->settings(); // what is asked now is answered as it is now
    const Message message = messageOf(*envelope, false);
    note(message);
    watchForJob(message, settings);
    if (timeoutMs != 0) {
        answerRequest(*envelope, settings);
        note(messageOf(*envelope, true));
    }
}

void DevelopmentHost::setSettings(const Settings& settings) {
    const MutexLock lock(m_mutex);
    m_settings = settings;
}

Settings DevelopmentHost::settings() const {
    const MutexLock lock(m_mutex);
    return m_settings;
}

void DevelopmentHost::note(const Message& message) {
    m_journal.add(message);
    if (m_told) {
        m_told(message);
    }
}

// A job that is named is started right behind the answer to the last question about it, by the same thread.
void DevelopmentHost::watchForJob(const Message& message, const Settings& settings) {
    if (message.opcode == em::opcode::kHostSettings && message.extension == em::setting::kJobTimeout.item &&
        settings.jobName && !settings.jobName->empty()) {
        m_jobWatch.expect();
    } else {
        m_jobWatch.expectNothing();
    }
}

} // namespace volad_dev

#include "host/hosting/journal.h"

#include <chrono>
#include <utility>

#include "frame/envelope/sip_json.h"
#include "host/hosting/envelope_text.h"

namespace volad_dev {

double monotonicNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Message messageOf(const em::SipJson& envelope, bool toModule) {
    Message message;
    message.opcode = envelope.GetUint(em::key::OperationCode, 0);
    message.extension = envelope.GetUint(em::key::Extension, 0);
    if (!envelope.GetDataUint(message.data)) {
        message.data = 0;
    }
    message.toModule = toModule;
    message.envelope = envelopeText(envelope);
    return message;
}

double Journal::add(Message message) {
    const MutexLock lock(m_mutex);
    message.time = monotonicNow();
    m_messages.push_back(std::move(message));
    m_added.set();
    return m_messages.back().time;
}

// Cleared under the mutex: what is added from then on sets it again.
std::vector<Message> Journal::messages() const {
    const MutexLock lock(m_mutex);
    m_added.clear();
    return m_messages;
}

} // namespace volad_dev

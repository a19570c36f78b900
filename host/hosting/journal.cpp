#include "host/hosting/journal.h"

#include <chrono>

namespace volad_dev {

double monotonicNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

void Journal::add(const Message& message) {
    const MutexLock lock(m_mutex);
    m_messages.push_back(message);
    m_added.set();
}

// Cleared under the mutex: what is added from then on sets it again.
std::vector<Message> Journal::messages() const {
    const MutexLock lock(m_mutex);
    m_added.clear();
    return m_messages;
}

} // namespace volad_dev

#include "host/hosting/journal.h"

#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <system_error>

namespace volad_dev {

double monotonicNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

Journal::Journal() : m_Event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!m_Event.valid()) {
        throw std::system_error(errno, std::generic_category(), "eventfd");
    }
}

void Journal::add(const Message& message) {
    const std::lock_guard guard(m_Mutex);
    m_Messages.push_back(message);
    static_cast<void>(eventfd_write(m_Event.get(), 1)); // full only after 2^64 messages
}

std::vector<Message> Journal::messages() const {
    const std::lock_guard guard(m_Mutex);
    eventfd_t count = 0;
    static_cast<void>(eventfd_read(m_Event.get(), &count)); // nothing new is no failure
    return m_Messages;
}

} // namespace volad_dev

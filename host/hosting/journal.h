// What module and host told each other, with the time of each message: the run of a request is read from it,
// and whoever waits for its next stage is woken.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/common/event_fd.h"
#include "host/common/mutex.h"

namespace em {
struct SipJson;
}

namespace volad_dev {

// Seconds on the monotonic clock, the same clock as a command record's.
[[nodiscard]] double monotonicNow();

struct Message {
    double time = 0;
    uint32_t opcode = 0;
    uint32_t extension = 0;
    uint32_t data = 0;      // a number, else 0
    bool toModule = false;  // a request, a reply, or the answer to a question of the module's
    std::string envelope{}; // as JSON
};

// Without its time.
[[nodiscard]] Message messageOf(const em::SipJson& envelope, bool toModule);

// Any thread; the module's threads add, the host's reads. Making one may throw std::system_error.
class Journal {
public:
    // The time is set here, so that the list is in its order; returned.
    double add(Message message);
    [[nodiscard]] std::vector<Message> messages() const;
    // Readable once something was added since the last call of messages().
    [[nodiscard]] int fd() const { return m_added.get(); }

private:
    mutable Mutex m_mutex;
    std::vector<Message> m_messages EM_GUARDED_BY(m_mutex);
    EventFd m_added;
};

} // namespace volad_dev

#include "host/drive/script_feed.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

namespace volad_dev {

ScriptFeed::ScriptFeed(std::string text, bool followsInput)
    : m_pipe(makePipe(O_NONBLOCK)), m_pending(std::move(text)), m_followsInput(followsInput) {}

pollfd ScriptFeed::next() const {
    if (!m_pipe.writeEnd.valid()) {
        return {-1, 0, 0};
    }
    const bool writes = !m_pending.empty() || !m_followsInput;
    return writes ? pollfd{m_pipe.writeEnd.get(), POLLOUT, 0} : pollfd{STDIN_FILENO, POLLIN, 0};
}

void ScriptFeed::goOn() {
    if (m_pending.empty() && m_followsInput) {
        readInput();
    } else {
        writePipe();
    }
    if (m_pending.empty() && !m_followsInput) {
        m_pipe.writeEnd.reset(); // the end of the script
    }
}

// What cannot be read has ended.
void ScriptFeed::readInput() {
    std::array<char, 65536> buffer;
    const ssize_t count = read(STDIN_FILENO, buffer.data(), buffer.size());
    if (count > 0) {
        m_pending.assign(buffer.data(), static_cast<size_t>(count));
    } else if (count == 0 || (errno != EINTR && errno != EAGAIN)) {
        m_followsInput = false;
    }
}

// Who reads no more has a reason, and tells it.
void ScriptFeed::writePipe() {
    const ssize_t count = write(m_pipe.writeEnd.get(), m_pending.data(), m_pending.size());
    if (count >= 0) {
        m_pending.erase(0, static_cast<size_t>(count));
    } else if (errno != EINTR && errno != EAGAIN) {
        m_pending.clear();
        m_followsInput = false;
    }
}

} // namespace volad_dev

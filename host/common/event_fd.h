// Something happened: a flag that poll can wait for.
#pragma once

#include <sys/eventfd.h>

#include <cerrno>
#include <system_error>

#include "base/unique_fd.h"

namespace volad_dev {

class EventFd {
public:
    // Throws std::system_error.
    EventFd() : m_fd(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
        if (!m_fd.valid()) {
            throw std::system_error(errno, std::generic_category(), "eventfd");
        }
    }
    void set() const { static_cast<void>(eventfd_write(m_fd.get(), 1)); } // full only after 2^64 calls
    void clear() const {
        eventfd_t count = 0;
        static_cast<void>(eventfd_read(m_fd.get(), &count)); // nothing new is no failure
    }
    // Readable while it is set.
    [[nodiscard]] int get() const { return m_fd.get(); }

private:
    em::UniqueFd m_fd;
};

} // namespace volad_dev

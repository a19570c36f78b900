// Owns a file descriptor.
#pragma once

#include <utility>

#include "base/cancellation_disabled.h"
#include "base/errno_keeper.h"
#include "base/system.h"

namespace em {

class UniqueFd {
public:
    constexpr UniqueFd() = default;
    explicit UniqueFd(int fd) : m_fd(fd) {}
    UniqueFd(UniqueFd&& other) noexcept : m_fd(other.release()) {}
    UniqueFd& operator=(UniqueFd&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~UniqueFd() { reset(); }

    [[nodiscard]] int get() const { return m_fd; }
    [[nodiscard]] bool valid() const { return m_fd >= 0; }
    [[nodiscard]] int release() { return std::exchange(m_fd, -1); }

    // Closes what it held; leaves errno alone.
    void reset(int fd = -1) {
        const int old = std::exchange(m_fd, fd);
        if (old >= 0) {
            const ErrnoKeeper keeper;
            const CancellationDisabled whole;   // close is a cancellation point, and destructors come here
            static_cast<void>(sys::close(old)); // nothing was written through it that close could still lose
        }
    }

    // Closes and tells: false, with errno, when the kernel reports a failed write-back.
    [[nodiscard]] bool closeChecked() {
        const int old = release();
        return old < 0 || sys::close(old) == 0;
    }

private:
    int m_fd = -1;
};

} // namespace em

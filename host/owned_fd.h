// Owns a file descriptor of the development host.
#pragma once

#include <unistd.h>

#include <utility>

namespace volad_dev {

class OwnedFd {
public:
    OwnedFd() = default;
    explicit OwnedFd(int fd) : m_nFd(fd) {}
    OwnedFd(OwnedFd&& other) noexcept : m_nFd(other.release()) {}
    OwnedFd& operator=(OwnedFd&& other) noexcept {
        reset(other.release());
        return *this;
    }
    ~OwnedFd() { reset(); }

    [[nodiscard]] int get() const { return m_nFd; }
    [[nodiscard]] bool valid() const { return m_nFd >= 0; }
    [[nodiscard]] int release() { return std::exchange(m_nFd, -1); }
    void reset(int fd = -1) {
        const int old = std::exchange(m_nFd, fd);
        if (old >= 0) {
            static_cast<void>(::close(old)); // what was written is in the kernel already
        }
    }

private:
    int m_nFd = -1;
};

} // namespace volad_dev

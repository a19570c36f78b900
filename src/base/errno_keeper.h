// Leaves errno at the end of a scope as it was at its start.
#pragma once

#include <cerrno>

namespace em {

class ErrnoKeeper {
public:
    ErrnoKeeper() : m_error(errno) {}
    ~ErrnoKeeper() { errno = m_error; }
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

    [[nodiscard]] int atEntry() const { return m_error; }

private:
    const int m_error;
};

} // namespace em

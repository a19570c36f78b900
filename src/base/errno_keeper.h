// Leaves errno at the end of a scope as it was at its start.
#pragma once

#include <cerrno>

namespace em {

class ErrnoKeeper {
public:
    ErrnoKeeper() : m_nError(errno) {}
    ~ErrnoKeeper() { errno = m_nError; }
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

    [[nodiscard]] int atEntry() const { return m_nError; }

private:
    const int m_nError;
};

} // namespace em

// Leaves errno at the end of a scope as it was at its start.
#pragma once

#include <cerrno>

namespace em {

class ErrnoKeeper {
public:
    ErrnoKeeper() : m_place(errno), m_error(m_place) {}
    ~ErrnoKeeper() { m_place = m_error; }
    ErrnoKeeper(const ErrnoKeeper&) = delete;
    ErrnoKeeper& operator=(const ErrnoKeeper&) = delete;

    [[nodiscard]] int atEntry() const { return m_error; }

private:
    int& m_place; // this thread's, asked for once
    const int m_error;
};

} // namespace em

// A thread that is cancelled inside such a scope ends behind it: for what must neither be left half-done nor
// let an unwinding through.
#pragma once

#include <pthread.h>

namespace em {

class CancellationDisabled {
public:
    CancellationDisabled() { ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &m_before); }
    ~CancellationDisabled() { ::pthread_setcancelstate(m_before, nullptr); }
    CancellationDisabled(const CancellationDisabled&) = delete;
    CancellationDisabled& operator=(const CancellationDisabled&) = delete;

private:
    int m_before = PTHREAD_CANCEL_ENABLE;
};

} // namespace em

// Where one thread waits until another gives it the turn.
#pragma once

#include <semaphore.h>

#include "base/cancellation_disabled.h"

namespace em::test {

// Not std::binary_semaphore: that of libstdc++ 12 can lose a wake-up and then sleeps for ever.
class Turn {
public:
    Turn() { ::sem_init(&m_semaphore, 0, 0); }
    ~Turn() { ::sem_destroy(&m_semaphore); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

    void release() { ::sem_post(&m_semaphore); }
    void acquire() {
        const CancellationDisabled whole;       // who is cancelled waits for its turn all the same
        while (::sem_wait(&m_semaphore) != 0) { // interrupted by a signal
        }
    }

private:
    sem_t m_semaphore{};
};

} // namespace em::test

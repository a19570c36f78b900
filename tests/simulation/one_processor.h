// Keeps the threads of a simulated run on one processor. One of them runs at a time, and each handing over of
// the turn to another processor waits there behind whatever else the machine has to do: four times as long on
// a busy one.
#pragma once

#include <sched.h>

namespace em::test {

// Holds for the calling thread and those that it starts meanwhile. Where it is refused, runs only take
// longer.
class OneProcessor {
public:
    OneProcessor() {
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(static_cast<unsigned>(::sched_getcpu()), &one);
        m_kept = ::sched_getaffinity(0, sizeof m_before, &m_before) == 0 &&
                 ::sched_setaffinity(0, sizeof one, &one) == 0;
    }
    ~OneProcessor() {
        if (m_kept) {
            ::sched_setaffinity(0, sizeof m_before, &m_before);
        }
    }
    OneProcessor(const OneProcessor&) = delete;
    OneProcessor& operator=(const OneProcessor&) = delete;

private:
    cpu_set_t m_before{};
    bool m_kept = false;
};

} // namespace em::test

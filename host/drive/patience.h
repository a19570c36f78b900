// Every wait of a script: until a descriptor has something, a moment comes, the script's limit is over, or
// the launcher wants it to end.
#pragma once

#include <span>

namespace volad_dev {

class Patience {
public:
    // stopFd: readable when the script shall end. limit: seconds from now on.
    Patience(int stopFd, double limit);

    // Returns at the first of: one of these readable, the moment on the monotonic clock. False for the
    // moment. Throws Failure when the limit is over, and with kExitInterrupted when the script shall end.
    [[nodiscard]] bool wait(std::span<const int> fds, double until) const;
    // The same for whoever comes out of a call into the module.
    void check() const;

private:
    const int m_stopFd;
    const double m_limit;
    const double m_end; // on the monotonic clock
};

} // namespace volad_dev

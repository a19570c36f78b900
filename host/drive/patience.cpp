#include "host/drive/patience.h"

#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <system_error>
#include <vector>

#include <fmt/format.h>

#include "host/common/failure.h"
#include "host/hosting/journal.h"

namespace volad_dev {

Patience::Patience(int stopFd, double limit)
    : m_stopFd(stopFd), m_limit(limit), m_end(monotonicNow() + limit) {}

bool Patience::wait(std::span<const int> fds, double until) const {
    std::vector<pollfd> watched = {{m_stopFd, POLLIN, 0}};
    watched.reserve(fds.size() + 1);
    for (const int fd : fds) {
        watched.push_back({fd, POLLIN, 0});
    }
    for (;;) {
        const double left = std::clamp(std::min(until, m_end) - monotonicNow(), 0.0, 3600.0);
        const int ready = poll(watched.data(), watched.size(), static_cast<int>(std::ceil(left * 1000)));
        if (ready < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
        if (ready > 0 && watched[0].revents != 0) {
            throw Failure("interrupted", kExitInterrupted);
        }
        const double now = monotonicNow();
        if (now >= m_end) {
            throw Failure(fmt::format("the limit of {} s is over", m_limit));
        }
        if (ready > 0 || now >= until) {
            return ready > 0;
        }
    }
}

void Patience::check() const {
    static_cast<void>(wait({}, 0));
}

} // namespace volad_dev

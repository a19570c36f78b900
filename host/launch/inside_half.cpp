#include "host/launch/inside_half.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <system_error>
#include <utility>

#include "host/hosting/journal.h"

namespace volad_dev {
namespace {

constexpr int kMostReads = 16; // of output, before other news is looked at

em::UniqueFd openNothing() {
    em::UniqueFd nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!nothing.valid()) {
        throw std::system_error(errno, std::generic_category(), "/dev/null");
    }
    return nothing;
}

} // namespace

// The job is to find what a service's job finds: nothing to read, nobody's terminal, default signals. What it
// prints goes through a pipe, which is all that differs.
InsideHalf::InsideHalf(const SandboxOptions& options, const std::vector<int>& further,
                       const std::vector<std::string>& arguments,
                       std::function<void(std::string_view)> printed)
    : m_take(std::move(printed)), m_stop(makePipe(O_NONBLOCK)), m_events(makePipe()), m_printed(makePipe()) {
    const em::UniqueFd nothing = openNothing();
    SandboxOptions sandbox = options;
    sandbox.ownSession = true;
    sandbox.defaultSignals = true;
    sandbox.standard = {nothing.get(), m_printed.writeEnd.get(), m_printed.writeEnd.get()};
    sandbox.descriptors = {m_stop.readEnd.get(), m_events.writeEnd.get()};
    sandbox.descriptors.insert(sandbox.descriptors.end(), further.begin(), further.end());
    std::vector<std::string> command = {std::filesystem::read_symlink("/proc/self/exe")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    m_command = std::make_unique<SandboxedCommand>(sandbox, command);
    // Only the sandbox holds these now: their end is its end.
    m_events.writeEnd.reset();
    m_printed.writeEnd.reset();
    m_stop.readEnd.reset();
}

void InsideHalf::askToStop() const {
    if (write(m_stop.writeEnd.get(), "", 1) < 0) {
        // The sandbox has ended already.
    }
}

bool InsideHalf::takeEvents(const std::function<void(std::string_view)>& take) const {
    std::array<char, 65536> buffer;
    const ssize_t count = read(m_events.readEnd.get(), buffer.data(), buffer.size());
    if (count > 0) {
        take({buffer.data(), static_cast<size_t>(count)});
    }
    return count > 0 || (count < 0 && errno == EINTR);
}

// At its end the pipe is no longer looked at.
void InsideHalf::takePrinted() {
    std::array<char, 65536> buffer;
    pollfd readable = {m_printed.readEnd.get(), POLLIN, 0};
    for (int reads = 0; reads < kMostReads && readable.fd >= 0 && poll(&readable, 1, 0) > 0; ++reads) {
        const ssize_t count = read(readable.fd, buffer.data(), buffer.size());
        if (count > 0) {
            m_take({buffer.data(), static_cast<size_t>(count)});
        } else if (count == 0 || errno != EINTR) {
            m_printed.readEnd.reset();
            return;
        }
    }
}

int InsideHalf::end(double until) {
    pollfd ended = {m_command->fd(), POLLIN, 0}; // without a descriptor of its end there is only the wait
    int ready = 0;
    while (ended.fd >= 0 && ready <= 0) {
        const double left = std::clamp(until - monotonicNow(), 0.0, 3600.0);
        ready = poll(&ended, 1, static_cast<int>(std::ceil(left * 1000)));
        if (ready == 0 && left == 0) {
            break;
        }
    }
    int code = 128 + SIGKILL;
    if (ended.fd < 0 || ready > 0) {
        code = m_command->wait();
    } else {
        m_command.reset();
    }
    takePrinted();
    return code;
}

} // namespace volad_dev

#include "host/launch/rehearsal_session.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <filesystem>
#include <iterator>
#include <system_error>

#include <fmt/format.h>

#include "host/common/failure.h"
#include "host/hosting/journal.h"
#include "host/rehearsal/inside_command.h"
#include "host/sandbox/memory_file.h"

namespace volad_dev {
namespace {

constexpr int kTickMs = 200; // how often a countdown is drawn anew
// Seconds that the module and the sandbox have for their end, behind whatever they may wait for.
constexpr double kEnding = 15;
constexpr int kMostReads = 16; // of output, before other news is looked at

em::UniqueFd openNothing() {
    em::UniqueFd nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
    if (!nothing.valid()) {
        throw std::system_error(errno, std::generic_category(), "/dev/null");
    }
    return nothing;
}

// The job is to find what a service's job finds: nothing to read, nobody's terminal, default signals. What it
// prints goes through a pipe, which is all that differs.
std::unique_ptr<SandboxedCommand> start(const LaunchOptions& options, const Pipe& stop, const Pipe& events,
                                        const Pipe& printed) {
    const em::UniqueFd nothing = openNothing();
    SandboxOptions sandbox = options.sandbox;
    sandbox.ownSession = true;
    sandbox.defaultSignals = true;
    sandbox.standard = {nothing.get(), printed.writeEnd.get(), printed.writeEnd.get()};
    sandbox.descriptors = {stop.readEnd.get(), events.writeEnd.get()};
    RehearsalOptions inside = options.run;
    inside.stopFd = kFirstPassedFd;
    inside.eventsFd = kFirstPassedFd + 1;
    const em::UniqueFd settings = fileInMemory(options.settingsText);
    if (!inside.settings.empty()) {
        inside.settingsFd = kFirstPassedFd + 2;
        sandbox.descriptors.push_back(settings.get());
    }
    std::vector<std::string> command = {std::filesystem::read_symlink("/proc/self/exe")};
    std::ranges::move(insideArguments(inside), std::back_inserter(command));
    return std::make_unique<SandboxedCommand>(sandbox, command);
}

} // namespace

RehearsalSession::RehearsalSession(const LaunchOptions& options, const Interruption& interruption,
                                   RunView& view, double longest)
    : m_interruption(interruption),
      m_view(view),
      m_stop(makePipe(O_NONBLOCK)),
      m_events(makePipe()),
      m_printed(makePipe()),
      m_command(start(options, m_stop, m_events, m_printed)),
      m_receiver({.trace = [this](const std::string& line) { m_view.trace(line); },
                  .progress =
                      [this](const ShutdownRun& run) {
                          m_lastSeen = run;
                          m_view.progress(run);
                      },
                  .conclusion =
                      [this](const ShutdownRun& run) {
                          m_concluded = run;
                          m_until = std::min(m_until, monotonicNow() + kEnding);
                      },
                  .failure = [this](const std::string& text,
                                    int code) { m_failure.emplace(text, static_cast<ExitCode>(code)); }}),
      m_until(monotonicNow() + longest) {
    // Only the sandbox holds these now: their end is its end.
    m_events.writeEnd.reset();
    m_printed.writeEnd.reset();
    m_stop.readEnd.reset();
}

ShutdownRun RehearsalSession::follow() {
    watch();
    const int code = end();
    takeOutput(); // what was left in the pipe
    ShutdownRun run = runOf(code);
    if (run.job) {
        run.job->output = m_output.lines();
    }
    return run;
}

// What runs inside may be stopped or held by the job: nothing here waits for it without a limit.
void RehearsalSession::watch() {
    double ticked = 0;
    for (bool open = true; open && monotonicNow() < m_until;) {
        std::array<pollfd, 3> watched = {pollfd{m_events.readEnd.get(), POLLIN, 0},
                                         pollfd{m_printed.readEnd.get(), POLLIN, 0},
                                         pollfd{m_interrupted ? -1 : m_interruption.fd(), POLLIN, 0}};
        if (poll(watched.data(), watched.size(), waitingMs()) < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
        if (watched[2].revents != 0) {
            takeInterruption();
        }
        if (watched[1].revents != 0) {
            takeOutput();
        }
        if (watched[0].revents != 0) {
            open = takeEvents();
        }
        if (const double now = monotonicNow(); now >= ticked + kTickMs / 1000.0) {
            ticked = now;
            m_view.tick();
        }
    }
}

int RehearsalSession::waitingMs() const {
    const double left = std::clamp(m_until - monotonicNow(), 0.0, 3600.0);
    const int ms = static_cast<int>(std::ceil(left * 1000));
    return m_view.isLive() ? std::min(ms, kTickMs) : ms;
}

// The exit code of what ran inside. What does not end by itself behind its last word is ended.
int RehearsalSession::end() {
    pollfd ended = {m_command->fd(), POLLIN, 0};
    const double left = m_events.readEnd.valid() ? m_until - monotonicNow() : 0;
    if (left > 0 || poll(&ended, 1, 0) > 0) {
        return m_command->wait();
    }
    m_command.reset();
    return 128 + SIGKILL;
}

void RehearsalSession::takeInterruption() {
    m_interrupted = true;
    m_until = std::min(m_until, monotonicNow() + m_view.jobLeft() + kEnding);
    if (write(m_stop.writeEnd.get(), "", 1) < 0) {
        // The sandbox has ended already.
    }
    m_view.interrupted();
}

bool RehearsalSession::takeEvents() {
    std::array<char, 65536> buffer;
    const ssize_t count = read(m_events.readEnd.get(), buffer.data(), buffer.size());
    if (count > 0) {
        m_receiver.take({buffer.data(), static_cast<size_t>(count)});
    }
    return count > 0 || (count < 0 && errno == EINTR);
}

// What is there, within bounds; at its end the pipe is no longer looked at.
void RehearsalSession::takeOutput() {
    std::array<char, 65536> buffer;
    pollfd readable = {m_printed.readEnd.get(), POLLIN, 0};
    for (int reads = 0; reads < kMostReads && readable.fd >= 0 && poll(&readable, 1, 0) > 0; ++reads) {
        const ssize_t count = read(readable.fd, buffer.data(), buffer.size());
        if (count > 0) {
            m_output.take({buffer.data(), static_cast<size_t>(count)});
        } else if (count == 0 || errno != EINTR) {
            m_printed.readEnd.reset();
            return;
        }
    }
}

ShutdownRun RehearsalSession::runOf(int code) const {
    if (m_concluded) {
        return *m_concluded;
    }
    if (m_failure) {
        throw *m_failure;
    }
    if (!m_lastSeen) { // it did not come as far as a module
        const std::vector<std::string> lines = m_output.lines();
        throw Failure(lines.empty() ? fmt::format("the rehearsal ended with exit code {}", code)
                                    : lines.back(),
                      code == kExitNoSandbox ? kExitNoSandbox : kExitOtherwise);
    }
    ShutdownRun run = *m_lastSeen;
    run.end = RunEnd::Interrupted;
    run.warnings.push_back(
        {"module-process-ended",
         fmt::format("the process that held the module did not come to its end (exit code {}): "
                     "what is shown is the last that it told",
                     code)});
    return run;
}

} // namespace volad_dev

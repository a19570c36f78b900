#include "host/launch/rehearsal_session.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <system_error>

#include <fmt/format.h>

#include "host/common/failure.h"
#include "host/hosting/journal.h"
#include "host/rehearsal/inside_command.h"
#include "host/sandbox/memory_file.h"

namespace volad_dev {
namespace {

constexpr int kTickMs = 200; // how often a countdown is drawn anew

InsideHalf start(const LaunchOptions& options, std::function<void(std::string_view)> printed) {
    RehearsalOptions inside = options.run;
    inside.stopFd = InsideHalf::kStopFd;
    inside.eventsFd = InsideHalf::kEventsFd;
    std::vector<int> further;
    const em::UniqueFd settings = fileInMemory(options.settingsText);
    if (!inside.settings.empty()) {
        inside.settingsFd = InsideHalf::kFirstFurtherFd;
        further.push_back(settings.get());
    }
    return InsideHalf(options.sandbox, further, insideArguments(inside), std::move(printed));
}

} // namespace

RehearsalSession::RehearsalSession(const LaunchOptions& options, const Interruption& interruption,
                                   RunView& view, double longest)
    : m_interruption(interruption),
      m_view(view),
      m_half(start(options, [this](std::string_view bytes) { m_output.take(bytes); })),
      m_receiver({.trace = [this](const std::string& line) { m_view.trace(line); },
                  .progress =
                      [this](const ShutdownRun& run) {
                          m_lastSeen = run;
                          m_view.progress(run);
                      },
                  .conclusion =
                      [this](const ShutdownRun& run) {
                          m_concluded = run;
                          m_until = std::min(m_until, monotonicNow() + InsideHalf::kEnding);
                      },
                  .failure = [this](const std::string& text,
                                    int code) { m_failure.emplace(text, static_cast<ExitCode>(code)); }}),
      m_until(monotonicNow() + longest) {}

ShutdownRun RehearsalSession::follow() {
    watch();
    ShutdownRun run = runOf(m_half.end(m_until));
    if (run.job) {
        run.job->output = m_output.lines();
    }
    return run;
}

// What runs inside may be stopped or held by the job: nothing here waits for it without a limit.
void RehearsalSession::watch() {
    double ticked = 0;
    for (bool open = true; open && monotonicNow() < m_until;) {
        std::array<pollfd, 3> watched = {pollfd{m_half.eventsFd(), POLLIN, 0},
                                         pollfd{m_half.printedFd(), POLLIN, 0},
                                         pollfd{m_interrupted ? -1 : m_interruption.fd(), POLLIN, 0}};
        if (poll(watched.data(), watched.size(), waitingMs()) < 0 && errno != EINTR) {
            throw std::system_error(errno, std::generic_category(), "poll");
        }
        if (watched[2].revents != 0) {
            takeInterruption();
        }
        if (watched[1].revents != 0) {
            m_half.takePrinted();
        }
        if (watched[0].revents != 0) {
            open = m_half.takeEvents([this](std::string_view bytes) { m_receiver.take(bytes); });
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

void RehearsalSession::takeInterruption() {
    m_interrupted = true;
    m_until = std::min(m_until, monotonicNow() + m_view.jobLeft() + InsideHalf::kEnding);
    m_half.askToStop();
    m_view.interrupted();
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

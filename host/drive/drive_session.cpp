#include "host/drive/drive_session.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "host/common/standard_streams.h"
#include "host/common/visible_text.h"
#include "host/drive/inside_drive_command.h"
#include "host/hosting/journal.h"
#include "host/sandbox/memory_file.h"

namespace volad_dev {
namespace {

// Seconds behind the limit in which what is inside ends by itself, unless a call into the module hangs.
constexpr double kSpare = 2;

InsideHalf start(DriveOptions inside, const std::string& settingsText, const SandboxOptions& sandbox,
                 const ScriptFeed& feed, std::function<void(std::string_view)> printed) {
    inside.stopFd = InsideHalf::kStopFd;
    inside.eventsFd = InsideHalf::kEventsFd;
    inside.scriptFd = InsideHalf::kFirstFurtherFd;
    std::vector<int> further = {feed.readFd()};
    const em::UniqueFd settings = fileInMemory(settingsText);
    if (!inside.settings.empty()) {
        inside.settingsFd = InsideHalf::kFirstFurtherFd + 1;
        further.push_back(settings.get());
    }
    return InsideHalf(sandbox, further, insideArguments(inside), std::move(printed));
}

// At once: whoever drives by hand reads it before he goes on.
void print(const std::string& line) {
    printAtOnce(line + '\n');
}

void complain(const std::string& line) {
    static_cast<void>(std::fputs((line + '\n').c_str(), stderr));
}

} // namespace

DriveSession::DriveSession(DriveOptions options, const std::string& settingsText,
                           const SandboxOptions& sandbox, std::string script,
                           const Interruption& interruption)
    : m_interruption(interruption),
      m_options(std::move(options)),
      m_feed(std::move(script), m_options.script == "-"),
      m_half(start(m_options, settingsText, sandbox, m_feed,
                   [this](std::string_view bytes) { showPrinted(bytes); })),
      m_receiver({.trace = [](const std::string& line) { print(line); },
                  .failure = [this](const std::string& text, int code) { takeFailure(text, code); },
                  .said = [](const std::string& line) { print(line); },
                  .complaint = [](const std::string& line) { complain(line); },
                  .begun = [this](const std::string& what) { takeBegun(what); }}),
      m_until(monotonicNow() + m_options.limit + InsideHalf::kEnding) {
    m_feed.closeReadEnd();
}

int DriveSession::follow() {
    watch();
    const int code = m_half.end(m_until);
    if (const std::optional<std::string> rest = m_printed.last()) {
        print("  | " + visibleText(*rest));
    }
    return conclude(code);
}

void DriveSession::watch() {
    for (bool open = true; open && monotonicNow() < m_until;) {
        std::array<pollfd, 4> watched = {
            pollfd{m_half.eventsFd(), POLLIN, 0}, pollfd{m_half.printedFd(), POLLIN, 0},
            pollfd{m_interrupted ? -1 : m_interruption.fd(), POLLIN, 0}, m_feed.next()};
        const double left = std::clamp(m_until - monotonicNow(), 0.0, 3600.0);
        if (poll(watched.data(), watched.size(), static_cast<int>(std::ceil(left * 1000))) < 0) {
            if (errno != EINTR) {
                throw std::system_error(errno, std::generic_category(), "poll");
            }
            continue;
        }
        if (watched[2].revents != 0) {
            takeInterruption();
        }
        if (watched[3].revents != 0) {
            m_feed.goOn();
        }
        if (watched[1].revents != 0) {
            m_half.takePrinted();
        }
        if (watched[0].revents != 0) {
            open = m_half.takeEvents([this](std::string_view bytes) { m_receiver.take(bytes); });
        }
    }
}

// The limit counts from the first one: how long a sandbox takes to be made is no matter of the script's.
void DriveSession::takeBegun(const std::string& what) {
    if (m_begun.empty()) {
        m_until = std::min(m_until, monotonicNow() + m_options.limit + kSpare);
    }
    m_begun = what;
}

void DriveSession::takeInterruption() {
    m_interrupted = true;
    m_until = std::min(m_until, monotonicNow() + InsideHalf::kEnding);
    m_half.askToStop();
    complain("volad-dev: interrupted, stopping the module; once more ends all of it at once");
}

// The first one counts. What is inside takes the module down behind it, and has so long for that.
void DriveSession::takeFailure(const std::string& text, int code) {
    if (!m_failed) {
        m_failed = code;
        m_until = std::min(m_until + InsideHalf::kEnding, monotonicNow() + InsideHalf::kEnding);
        if (code != kExitInterrupted) {
            complain(text);
        }
    }
}

void DriveSession::showPrinted(std::string_view bytes) {
    m_printed.take(bytes);
    while (const std::optional<std::string> line = m_printed.next()) {
        print("  | " + visibleText(*line));
    }
}

int DriveSession::conclude(int code) const {
    if (m_failed || m_interrupted) {
        return m_interrupted ? kExitInterrupted : *m_failed;
    }
    if (code == kExitAsAsked || code == kExitNoSandbox) {
        return code;
    }
    const std::string where = visibleText(m_begun.empty() ? m_options.script : m_begun);
    if (monotonicNow() >= m_until) {
        complain(
            fmt::format("{}: did not end, and was ended: the limit of {} s is over", where, m_options.limit));
    } else {
        complain(fmt::format("{}: the process that held the module ended (exit code {})", where, code));
    }
    return kExitInterrupted;
}

} // namespace volad_dev

// What the process inside the sandbox tells the launcher while it goes on. An event is a letter for its kind,
// the length of its text in decimal, a line end, and the text. The pipe is that process's alone: no child has
// it, and no other process may take it.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/unique_fd.h"
#include "host/common/exit_code.h"
#include "host/common/mutex.h"
#include "host/run/run.h"

namespace volad_dev {

// Any thread. A launcher that is gone takes this process with it, so nothing is reported of a failed write.
class EventSender {
public:
    explicit EventSender(int fd) : m_fd(fd) {}

    // A line of the module's; since: seconds after the request, nothing before it.
    void trace(std::optional<double> since, const std::string& line);
    // How far the run has come, and at last what came of it.
    void progress(const ShutdownRun& run);
    void conclusion(const ShutdownRun& run);
    // Why there is no run.
    void failure(const std::string& text, ExitCode code);
    // A line for people, and one for their attention that ends nothing.
    void said(const std::string& line);
    void complaint(const std::string& line);
    // What is worked on from now on: if nothing more comes, that was it.
    void begun(const std::string& what);

private:
    void send(char kind, const std::string& text);

    Mutex m_mutex;
    em::UniqueFd m_fd;
};

// Carries out `work` and tells what it throws. False when it threw.
bool tellFailures(EventSender& events, const std::function<void()>& work);

// What the launcher makes of them; what is never sent to it needs no handler.
struct EventHandlers {
    std::function<void(const std::string& line)> trace{}; // with the time in front
    std::function<void(const ShutdownRun&)> progress{};
    std::function<void(const ShutdownRun&)> conclusion{};
    std::function<void(const std::string& text, int code)> failure{};
    std::function<void(const std::string& line)> said{};
    std::function<void(const std::string& line)> complaint{};
    std::function<void(const std::string& what)> begun{};
};

class EventReceiver {
public:
    explicit EventReceiver(EventHandlers handlers) : m_handlers(std::move(handlers)) {}
    // The next bytes of the pipe; each event that they complete is handled.
    void take(std::string_view bytes);

private:
    void handle(char kind, std::string_view text) const;

    const EventHandlers m_handlers;
    std::string m_rest;
};

} // namespace volad_dev

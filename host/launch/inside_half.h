// The tool once more, inside a sandbox of its own, and the pipes between the two: it is asked to stop, tells
// what happens, and what its job prints is taken.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/common/pipe.h"
#include "host/sandbox/sandbox.h"

namespace volad_dev {

// One thread.
class InsideHalf {
public:
    // Which number each descriptor has inside.
    static constexpr int kStopFd = kFirstPassedFd;
    static constexpr int kEventsFd = kFirstPassedFd + 1;
    static constexpr int kFirstFurtherFd = kFirstPassedFd + 2;
    // Seconds that the module and the sandbox have for their end, behind whatever they may wait for.
    static constexpr double kEnding = 15;

    // Starts it. further: come up as kFirstFurtherFd and those that follow. What it prints is handed to
    // `printed`, in the bytes in which it comes. Throws Failure.
    InsideHalf(const SandboxOptions& options, const std::vector<int>& further,
               const std::vector<std::string>& arguments, std::function<void(std::string_view)> printed);

    // For a poll: readable with news. The second one is -1 once nobody prints any more.
    [[nodiscard]] int eventsFd() const { return m_events.readEnd.get(); }
    [[nodiscard]] int printedFd() const { return m_printed.readEnd.get(); }

    void askToStop() const;
    // Hands over what has come; false at the end of the pipe.
    [[nodiscard]] bool takeEvents(const std::function<void(std::string_view)>& take) const;
    // What is there, within bounds.
    void takePrinted();
    // Its exit code; what has not ended at this moment of the monotonic clock is ended (128 + SIGKILL). What
    // was left in the pipe is taken.
    [[nodiscard]] int end(double until);

private:
    const std::function<void(std::string_view)> m_take;
    Pipe m_stop, m_events, m_printed;
    std::unique_ptr<SandboxedCommand> m_command;
};

} // namespace volad_dev

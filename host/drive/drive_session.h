// One sandbox with a driven run in it, from its start to its end: the script goes in, what happens is shown.
#pragma once

#include <optional>
#include <string>

#include "host/common/failure.h"
#include "host/drive/drive_options.h"
#include "host/drive/line_buffer.h"
#include "host/drive/script_feed.h"
#include "host/launch/inside_half.h"
#include "host/launch/interruption.h"
#include "host/rehearsal/event_channel.h"
#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

// One thread.
class DriveSession {
public:
    // Starts it. Throws Failure.
    DriveSession(DriveOptions options, const std::string& settingsText, const SandboxOptions& sandbox,
                 std::string script, const Interruption& interruption);

    // Until the sandbox is gone; the exit code. What failed was told in a line on standard error.
    [[nodiscard]] int follow();

private:
    void watch();
    void takeBegun(const std::string& what);
    void takeInterruption();
    void takeFailure(const std::string& text, int code);
    void showPrinted(std::string_view bytes);
    [[nodiscard]] int conclude(int code) const;

    const Interruption& m_interruption;
    const DriveOptions m_options;
    ScriptFeed m_feed;
    LineBuffer m_printed;
    InsideHalf m_half;
    EventReceiver m_receiver;
    double m_until; // on the monotonic clock
    bool m_interrupted = false;
    std::string m_begun; // what was worked on at last
    std::optional<int> m_failed;
};

} // namespace volad_dev

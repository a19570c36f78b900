// How a run ended: its code for programs and its words for people.
#pragma once

#include <array>
#include <optional>
#include <string_view>

namespace volad_dev {

enum class RunEnd {
    Command,      // the command was started
    GateRefused,  // the maintenance mode is not set
    Cancelled,    // by the host's request
    Stopped,      // the module was stopped before the command
    NotPermitted, // the module reports the shutdown as executed, but started no command
    NotAccepted,  // the request itself was refused
    NoRequest,    // the scheduled time passed without a request of the module's
    TimedOut,     // longer than the settings can explain
    Interrupted,  // by a signal, or with the process that held the module; in a trace by an exception
    Unfinished,   // a trace ends before it; a rehearsal never does so
};

struct RunEndName {
    RunEnd end;
    std::string_view code, text;
};

inline constexpr std::array<RunEndName, 10> kRunEnds = {{
    {RunEnd::Command, "command", "the command was started"},
    {RunEnd::GateRefused, "gate-refused", "refused at the gate: the maintenance mode is not set"},
    {RunEnd::Cancelled, "cancelled", "cancelled"},
    {RunEnd::Stopped, "stopped", "stopped before the command"},
    {RunEnd::NotPermitted, "not-permitted",
     "reported as executed, but no command was started: the host does not run as root"},
    {RunEnd::NotAccepted, "not-accepted", "the request was not accepted"},
    {RunEnd::NoRequest, "no-request", "the scheduled time passed without a request"},
    {RunEnd::TimedOut, "timed-out", "timed out"},
    {RunEnd::Interrupted, "interrupted", "interrupted"},
    {RunEnd::Unfinished, "unfinished", "the trace ends before the shutdown does"},
}};
static_assert([] {
    for (size_t i = 0; i < kRunEnds.size(); ++i) {
        if (static_cast<size_t>(kRunEnds[i].end) != i) {
            return false;
        }
    }
    return true;
}());

constexpr const RunEndName& nameOf(RunEnd end) {
    return kRunEnds[static_cast<size_t>(end)];
}

constexpr std::optional<RunEnd> findRunEnd(std::string_view code) {
    for (const RunEndName& row : kRunEnds) {
        if (row.code == code) {
            return row.end;
        }
    }
    return std::nullopt;
}

} // namespace volad_dev

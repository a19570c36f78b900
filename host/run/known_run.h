// A shutdown as far as it is known. A trace shows more or less of one, by its level and by where it was cut;
// of a rehearsal most is known. What is not there is not known, and not "none", but where a comment says so.
#pragma once

#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/run/run.h"
#include "host/run/run_cause.h"

namespace volad_dev {

// All times are seconds after the first that is known of the shutdown.

struct KnownJob {
    enum class End { Unknown, Ended, TimedOut, Failed, NotWaited };

    std::string command;
    std::optional<std::string> directory; // where it was to run
    std::optional<uint32_t> limit;        // seconds; 0: it is not waited for
    std::optional<bool> started;
    End end = End::Unknown;
    std::optional<int> error; // why it was not started, or could not be waited for
    std::optional<int> exitCode, signal;
    std::optional<double> seconds;
    std::optional<std::vector<std::string>> output;
};

struct KnownCommand {
    std::string line;
    std::optional<double> seconds;
    std::optional<std::string> directory;
};

struct KnownPhase {
    std::string name; // of a rehearsal's; below level 3 the settings count as part of the delay
    std::optional<double> start, seconds;
};

struct KnownMessage {
    std::optional<double> at;
    bool toModule = false;
    std::string envelope; // JSON text
};

struct KnownStatus {
    std::optional<double> at;
    uint8_t value = 0; // of ShutdownStatus
};

struct KnownRun {
    RunEnd end = RunEnd::Unfinished;
    RunCause cause = RunCause::None;
    bool byReplyOnly = false;                  // the request of it, which is not supported
    std::optional<std::string> earlierCommand; // of the same module, where this one never became a task
    std::string causeDetail;                   // what is known of the cause besides, or empty

    std::optional<std::string> by, operation, reasonText; // as in Asked
    std::optional<uint8_t> reason;
    std::optional<std::string> when; // the time of the first line, as the trace shows it
    bool beginCut = false;           // that line is not where it began
    bool clockSet = false;           // while it ran: how long it took in all is not known
    [[nodiscard]] bool tellsHowLate() const { return !beginCut && !clockSet; }
    std::optional<bool> asAsked;
    std::optional<std::string> gateAssumed, gateHere; // as in Gate, of a rehearsal
    std::optional<bool> gateOpen;                     // what the module was told

    std::optional<uint32_t> delay;       // seconds, as the host set it or as it is without a word of the host
    std::optional<double> cancelled;     // when the host asked for it
    std::optional<bool> hasJob;          // false: there was none to run
    std::optional<KnownJob> job;         // the one that was run
    std::optional<KnownCommand> command; // the one that was started
    std::vector<KnownPhase> phases; // as far as it came; the last one's length is not known while it runs
    std::vector<KnownMessage> messages;
    std::vector<KnownStatus> statuses;
    std::optional<std::vector<LeftFile>> left;    // by a rehearsal
    std::optional<std::vector<Warning>> warnings; // the same

    std::optional<unsigned> level; // that the trace seems to have; nothing for a rehearsal's JSON
    // Whether what is shown from that level on would be known.
    [[nodiscard]] bool shows(unsigned from) const { return !level || *level >= from; }
    // Whether no job means that none was run, and no command that none was started. Their lines come at every
    // level: only a cut hides them.
    [[nodiscard]] bool tellsOfJob() const {
        const bool before = end == RunEnd::GateRefused || end == RunEnd::Cancelled || end == RunEnd::Stopped;
        return job || hasJob == false || before || (!hasJob && !beginCut && end != RunEnd::Unfinished);
    }
    [[nodiscard]] bool tellsOfCommand() const { return command || end != RunEnd::Unfinished; }
};

// Far above the longest delay: what is longer is no time of a shutdown, whatever a file holds.
inline constexpr double kLongestTime = 1e7; // seconds
[[nodiscard]] inline std::optional<double> soundTime(const std::optional<double>& time) {
    return time && std::abs(*time) <= kLongestTime ? time : std::nullopt;
}

// All that a rehearsal knows.
[[nodiscard]] KnownRun knownRun(const ShutdownRun& run);

// The level from which on a trace shows a thing; below it, it is not known.
namespace known_from {
inline constexpr unsigned kRequest = 2, kMessages = 2, kStatuses = 3, kSettings = 3, kQueue = 4;
} // namespace known_from

} // namespace volad_dev

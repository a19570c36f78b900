// What came of a rehearsal: the way of the request, read from what the module told the host and from what
// was recorded.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/hosting/journal.h"
#include "host/rehearsal/rehearsal_options.h"
#include "host/sandbox/command_record.h"

namespace volad_dev {

// How the run of a request ended.
enum class End {
    Command,     // the command was started
    Cancelled,   // by the host's request
    Refused,     // at the gate, the maintenance mode not being set
    Stopped,     // the module was stopped before the command
    NothingRan,  // the module reports the shutdown as executed, but no command was started
    NotAccepted, // the request itself was refused
    NoRequest,   // the scheduled time passed without a request of the module's
    TimedOut,    // longer than the settings can explain
    Interrupted, // by a signal
};

// A stage of the run and what it took, in seconds.
struct Phase {
    std::string name;
    double seconds = 0;
};

struct LeftFile {
    std::string name; // in the scratch directory
    uint64_t bytes = 0;
};

struct Verdict {
    End end = End::NotAccepted;
    bool asAsked = false;
    std::string askedBy;
    uint8_t reason = 0;
    std::string reasonName;
    double requestTime = 0;               // on the monotonic clock
    std::optional<CommandRecord> command; // the one that would have ended the system
    std::vector<Phase> phases;
    std::vector<LeftFile> left; // by the job
};

[[nodiscard]] const char* textOf(End end);

// Which end the options ask for.
[[nodiscard]] End askedEnd(const RehearsalOptions& options);

// The last status that the module reported, 0 when none.
[[nodiscard]] uint8_t lastStatus(const std::vector<Message>& messages);
// Where the module stands at the end of a run, nothing while it is still on it.
[[nodiscard]] std::optional<End> endOf(const std::vector<Message>& messages, bool stopAsked,
                                       bool commandSeen);

// Splits the time from the request to the command, or to the last message, at the messages that begin a
// stage.
[[nodiscard]] std::vector<Phase> phasesOf(const std::vector<Message>& messages, double requestTime,
                                          const std::optional<CommandRecord>& command);

// Everything in the directory that the tool did not put there.
[[nodiscard]] std::vector<LeftFile> filesLeft(const std::string& directory);

} // namespace volad_dev

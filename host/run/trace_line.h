// The lines of the module's trace from which a shutdown is read, each known by its format in the contract.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>

#include "contract/shutdown_actions.h"
#include "host/run/trace_pattern.h"

namespace volad_dev {

enum class TraceEvent {
    // The module's life.
    Starting,
    Stopping,
    // Messages: fields as in MessageFields.
    Message,
    // How a shutdown comes to be.
    Requested,
    Replied,
    OffTimeReached,
    QueueFull,
    QueueShut,
    QueueRaised,
    Queued,
    CancelRequested,
    // Its course.
    Status,
    TaskBegins,
    GateRefuses,
    ReasonNumber,
    ReasonText,
    DelayGiven,
    NoDelayGiven,
    ForceDelay,
    DelayBegins,
    DelayOver,
    EndsCancelled,
    Performing,
    // The job.
    JobDirectory,
    JobLimit,
    NoJob,
    JobFound,
    JobEnded,
    JobTimedOut,
    JobFailed,
    // Job and command.
    CommandBegins,
    CommandForked,
    CommandFailed,
    CommandEnded,
    // The command.
    Executing,
    Privilege,
    SystemShutdown,
    // Without the module's doing.
    Disconnect,
    Exception,
    // Says no more than the level at which it is written.
    LevelOnly,
    Count
};

// The fields of a message's line, each where the form has it.
struct MessageFields {
    size_t operationCode = 1, extension = 2, objectId = 3;
    size_t cabinet, messageIdHigh, messageIdLow, status; // cabinet: 0 when there is none
    size_t data;                                         // a number; 0 when there is none
    bool structureFollows;                               // as data, on a line of its own
};
enum class MessageData { None, Number, Structure };
[[nodiscard]] constexpr MessageFields messageFields(bool ofCabinet, MessageData data) {
    const size_t more = ofCabinet ? 1 : 0;
    return {.cabinet = ofCabinet ? 4U : 0U,
            .messageIdHigh = 4 + more,
            .messageIdLow = 5 + more,
            .status = 6 + more,
            .data = data == MessageData::Number ? 7 + more : 0,
            .structureFollows = data == MessageData::Structure};
}

struct TraceLineKind {
    TraceEvent event;
    unsigned level;
    TracePattern pattern;
    const em::ShutdownAction* action = nullptr; // whose line it is
    MessageFields message = {};                 // of a message
};

// The queue's lines, which other modules' queues write as well.
[[nodiscard]] constexpr bool isOfQueue(TraceEvent event) {
    return event >= TraceEvent::QueueFull && event <= TraceEvent::Queued;
}

// A line of the module, from its tag on.
struct TraceLine {
    const TraceLineKind* kind;
    TraceFields fields;
    std::string_view prefix; // what the host wrote in front of it, as far as it was kept
};

// All lines with a tag have it in so many columns, and a colon behind it.
inline constexpr size_t kTagColumns = 20;
// What stands at the end of each tag's columns; and what the lines without a tag begin with.
inline constexpr std::string_view kTagEnd = "   :";
inline constexpr std::string_view kUntagged = "### St";

// Whether one of the module's tags stands there.
[[nodiscard]] bool beginsWithTag(std::string_view text);
// What a line is, from its tag on and without its end, its prefix left empty: nothing for one that says
// nothing about a shutdown.
[[nodiscard]] std::optional<TraceLine> findTraceLine(std::string_view text, bool tagged);

} // namespace volad_dev

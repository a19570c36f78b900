// What the design says of each event in each state of a shutdown, and what holds whatever comes. The tests
// judge by this table, and docs/reliability.md shows it.
#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

namespace em::test {

enum class State : size_t {
    Idle,      // nothing is asked for, or the last one was withdrawn
    Announced, // the host was told status 1; the cancel flag is not cleared yet, nothing is queued
    Queued,
    Gate,        // the maintenance tool is asked
    Unannounced, // queued or at the gate without a status of its own: scheduled, or behind a withdrawn one
    Delay,       // from the gate's yes to the last look at the cancel flag
    Cancelled,   // cancelled before that look, which is still to come
    Job,         // from the last look to the command
    Command,     // from the command to the second look
    InName,      // cancelled behind the last look, ahead of the second one
    Executing,   // status 3; the queue is shut
    AskedAgain,  // the same, and a later request was told status 1 and refused by the queue
    Stopped,     // Stop has begun
};
inline constexpr size_t kStates = 13;

enum class Event : size_t { Cancel, Stop, Request, Schedule, Disconnect, Flip };
inline constexpr size_t kEvents = 6;

// What an event does to that which the sequence looks at later: the cancel flag and the stop flag at the end
// of the delay, the cancel flag once more behind the command.
enum class Effect {
    Nothing,
    Refused,     // "already in progress"
    Cancels,     // sets the cancel flag
    ClearsFlag,  // for whoever is pending, too
    ClearsStale, // only one that an ended shutdown left
    Stops,
    Queues, // behind what waits; the queue runs one at a time
    Turned, // away by the shut queue
    SetsGate,
};

// How many commands the shutdown under way ends in.
enum class Commands { None, One, Either };

struct Cell {
    Effect effect;
    Commands commands;
    const char* text;
};

[[nodiscard]] const Cell& cellOf(State state, Event event);
[[nodiscard]] std::string_view nameOf(State state);
[[nodiscard]] std::string_view nameOf(Event event);

// The table and the invariants as Markdown.
[[nodiscard]] std::string outcomePage();

} // namespace em::test

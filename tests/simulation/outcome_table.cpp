#include "simulation/outcome_table.h"

namespace em::test {
namespace {

using enum Effect;
using enum Commands;

constexpr std::array<const char*, kEvents> kEventNames = {
    "cancel", "Stop", "second request or reply", "power-off time", "disconnect", "maintenance flips"};

struct Row {
    const char* state;
    std::array<Cell, kEvents> cells;
};

constexpr Cell kQueuedBehind = {ClearsFlag, One, "queued behind; a cancel that came before is taken back"};
constexpr Cell kScheduledBehind = {ClearsStale, One, "queued behind; shares a cancel of the one before"};
constexpr Cell kWaitsBehind = {Queues, One, "waits behind, the host 5 s at most; dropped with the queue"};
constexpr Cell kNoGate = {SetsGate, One, "nothing: the gate is asked once"};
constexpr Cell kDecides = {SetsGate, Either, "decides, if the tool is still to answer"};

constexpr std::array<Row, kStates> kRows = {{
    {"idle",
     {{{Nothing, None, "nothing to cancel; answered 0"},
       {Stops, None, "ends the threads"},
       {ClearsFlag, Either, "its shutdown begins"},
       {ClearsStale, Either, "its shutdown begins; an old cancel is dropped"},
       {Queues, None, "host told 517, 279 and 523; the queue is shut for good"},
       {SetsGate, None, "host told 513; the next shutdown is decided by it"}}}},
    {"announced: status 1 told, not queued yet",
     {{{Cancels, One, "lost: the request clears the flag behind its status (kept)"},
       {Stops, None, "no command; the queue takes nothing, answered 0 all the same"},
       {ClearsFlag, One, "both are queued, in the order of their inserts"},
       {ClearsStale, One, "both are queued, in the order of their inserts"},
       {Queues, Either, "the first in the queue goes first; what comes behind the disconnect is refused"},
       kDecides}}},
    {"queued",
     {{{Cancels, None, "no command; withdrawn behind the delay"},
       {Stops, None, "no command; dropped with the queue"},
       kQueuedBehind,
       kScheduledBehind,
       kWaitsBehind,
       kDecides}}},
    {"at the gate",
     {{{Cancels, None, "no command; withdrawn behind the delay"},
       {Stops, None, "no command; the query is cut short and the gate stays shut"},
       kQueuedBehind,
       kScheduledBehind,
       kWaitsBehind,
       kDecides}}},
    {"queued or at the gate without a status: scheduled, or behind a withdrawn one",
     {{{Nothing, One, "not found, answered 0: it can be cancelled behind the gate (kept)"},
       {Stops, None, "no command"},
       kQueuedBehind,
       kScheduledBehind,
       kWaitsBehind,
       kDecides}}},
    {"delay",
     {{{Cancels, None, "no command; withdrawn behind the delay, which it does not shorten"},
       {Stops, None, "no command; ends the delay at once, status 3"},
       kQueuedBehind,
       kScheduledBehind,
       kWaitsBehind,
       kNoGate}}},
    {"cancelled, before the last look",
     {{{Nothing, None, "nothing to cancel"},
       {Stops, None, "no command; withdrawn"},
       {ClearsFlag, One, "takes the cancel back: the first one's command comes (kept)"},
       {ClearsStale, None, "queued behind, and withdrawn with it"},
       {Queues, None, "runs behind the withdrawn one"},
       {SetsGate, None, "nothing"}}}},
    {"job: behind the last look",
     {{{Cancels, One, "the command comes all the same, then withdrawn in name: status 5, queue open (kept)"},
       {Stops, One, "waits for the job; the command comes (kept)"},
       kQueuedBehind,
       kScheduledBehind,
       kWaitsBehind,
       kNoGate}}},
    {"command started",
     {{{Cancels, One, "withdrawn in name: status 5, queue open (kept)"},
       {Stops, One, "the command was started"},
       kQueuedBehind,
       kScheduledBehind,
       kWaitsBehind,
       kNoGate}}},
    {"cancelled in name: behind the last look",
     {{{Nothing, One, "nothing to cancel"},
       {Stops, One, "the command comes; withdrawn in name"},
       {ClearsFlag, One, "takes the cancel back, and is dropped with the queue behind the command"},
       {ClearsStale, One, "queued behind, and withdrawn with it"},
       {Queues, One, "runs behind the one that was withdrawn in name"},
       kNoGate}}},
    {"executing: status 3, queue shut",
     {{{Refused, One, "refused in the trace; answered 0"},
       {Stops, One, "ends the threads"},
       {Turned, One, "refused by the queue or dropped with it; answered 0, and status 1 stays (kept)"},
       {Turned, One, "refused by the queue or dropped with it"},
       {Turned, One, "refused by the queue; dropped with it, and waited for 5 s, if it came before that"},
       {SetsGate, One, "host told 513"}}}},
    {"executing, asked again: status 1, queue shut",
     {{{Cancels, One, "taken in name, status 4; nothing is there to be withdrawn (kept)"},
       {Stops, One, "ends the threads"},
       {Turned, One, "refused by the queue; answered 0"},
       {Turned, One, "refused by the queue"},
       {Turned, One, "refused by the queue"},
       {SetsGate, One, "host told 513"}}}},
    {"stopped",
     {{{Cancels, Either, "as its status says; no command comes of it"},
       {Stops, Either, "two lines"},
       {Turned, Either, "refused by the queue; answered 0"},
       {Turned, Either, "refused by the queue"},
       {Turned, Either, "refused by the queue"},
       {SetsGate, Either, "nobody is told"}}}},
}};

constexpr std::array kInvariants = {
    "A command runs only for a task that was asked for and is the one under way, and it is that task's own.",
    "A task has one command at most. Behind a command the queue is shut; only a cancel that came behind the "
    "last look leaves it open, for what is asked then.",
    "A task past its last look has its command, unless the system starts no child or the host is not root.",
    "A cancel that is taken before the last look keeps the system up, unless a later request takes it back.",
    "The gate opens only for a tool that has said \"E\" and ended, and every task asks it.",
    "The delay takes its whole time, to the millisecond; only Stop shortens it.",
    "A setting that the host does not give, refuses or is silent about counts as its default: delay 60 s, "
    "force delay 120 s, limit 120 s, no job, the job's own directory, no power-off time.",
    "Every withdrawal is told twice (521), every status once behind its line (527), every mode that the "
    "watcher finds changed once (513), and each request is answered.",
    "Whatever waits when nothing more comes is carried out, refused or dropped by a rule of the table: "
    "no task is lost, no thread hangs, the clock's time is bounded.",
    "After Stop and delete: no thread, descriptor, tool or lock, and no child uncollected that ended while "
    "it "
    "was to be waited for.",
};

} // namespace

const Cell& cellOf(State state, Event event) {
    return kRows[static_cast<size_t>(state)].cells[static_cast<size_t>(event)];
}

std::string_view nameOf(State state) {
    return kRows[static_cast<size_t>(state)].state;
}

std::string_view nameOf(Event event) {
    return kEventNames[static_cast<size_t>(event)];
}

std::string outcomePage() {
    std::string page = "| state |";
    std::string rule = "|---|";
    for (const char* event : kEventNames) {
        page += std::string(" ") + event + " |";
        rule += "---|";
    }
    page += "\n" + rule + "\n";
    for (const Row& row : kRows) {
        page += std::string("| ") + row.state + " |";
        for (const Cell& cell : row.cells) {
            page += std::string(" ") + cell.text + " |";
        }
        page += "\n";
    }
    page += "\n";
    for (const char* invariant : kInvariants) {
        page += std::string("- ") + invariant + "\n";
    }
    return page;
}

} // namespace em::test

// Status and cancel flag of the module's shutdown, as one value: a cancel's question "is one pending?" and
// its effect are a single step, so that no other change gets in between.
// Why: docs/decisions/flags-without-locks.md
#pragma once

#include <atomic>
#include <cstdint>

#include "contract/shutdown_status.h"

namespace em {

// Any thread, without a lock. Telling the host is ShutdownProgress's business, after the change.
class ShutdownState {
public:
    [[nodiscard]] ShutdownStatus status() const { return m_value.load().status; }
    [[nodiscard]] bool isCancelled() const { return m_value.load().cancelled; }

    // 1, 2, 3 and 5 may follow any status; the flag stays as it is. 4 comes from cancel() alone.
    void setStatus(ShutdownStatus status);
    // For a shutdown that starts without a status of its own: drops the flag that an ended one left behind,
    // but not the cancel of one that is pending or under way.
    void clearStaleCancelFlag();

    // A pending shutdown (1 or 2) becomes a cancelled one: status 4, with the flag. Otherwise nothing
    // changes. Returns the status that was met.
    ShutdownStatus cancel();

    class Request;

private:
    struct alignas(8) Value { // as wide as it is aligned, so that both compilers take one instruction
        bool cancelled = false;
        ShutdownStatus status = ShutdownStatus::None;
        // What becomes of both where none of the open requests, so many, is queued in the end.
        bool cancelledWithout = false;
        ShutdownStatus statusWithout = ShutdownStatus::None;
        uint32_t open = 0;
    };
    static_assert(sizeof(Value) == 8 && std::atomic<Value>::is_always_lock_free);

    // Sets what the change makes of the present value, which it may be asked more than once. Returns that
    // value.
    template <class Change>
    Value replace(Change change);

    // Sequentially consistent on purpose, as the flags beside it.
    std::atomic<Value> m_value{Value{}};
};

// One request, on the stack of who makes it: status 1 from its beginning, and open until its end. Unless it
// stays, its end takes back what it changed: a cancel that came meanwhile holds for the shutdown before it
// and goes where there is none; what the task handler has made of the status stays; and while other requests
// are open, or where one of them stayed, theirs holds.
class ShutdownState::Request {
public:
    explicit Request(ShutdownState& state);
    ~Request();
    Request(const Request&) = delete;
    Request& operator=(const Request&) = delete;

    void clearCancelFlag();
    void stay();

private:
    ShutdownState& m_state;
    bool m_stays = false;
};

} // namespace em

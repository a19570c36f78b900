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
    void clearCancelFlag();
    // For a shutdown that starts without a status of its own: drops the flag that an ended one left behind,
    // but not the cancel of one that is pending or under way.
    void clearStaleCancelFlag();

    // What a request has changed that then could not be queued: status and flag as they were before it, but
    // for what another thread has made of them meanwhile.
    void takeBack(ShutdownStatus before, bool wasCancelled);

    // A pending shutdown (1 or 2) becomes a cancelled one: status 4, with the flag. Otherwise nothing
    // changes. Returns the status that was met.
    ShutdownStatus cancel();

private:
    struct alignas(2) Value { // as wide as it is aligned, so that both compilers take one instruction
        bool cancelled = false;
        ShutdownStatus status = ShutdownStatus::None;
    };
    static_assert(sizeof(Value) == 2 && std::atomic<Value>::is_always_lock_free);

    // Sets what the change makes of the present value, which it may be asked more than once. Returns that
    // value.
    template <class Change>
    Value replace(Change change);

    // Sequentially consistent on purpose, as the flags beside it.
    std::atomic<Value> m_value{Value{}};
};

} // namespace em

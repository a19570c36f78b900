// Status and cancel flag of the module's shutdown, as one value: a cancel's question "is one pending?" and
// its effect are a single step, so that no other change gets in between.
#pragma once

#include <atomic>
#include <cstdint>

#include "shutdown/shutdown_status.h"

namespace em {

// Any thread, without a lock. Telling the host is the caller's business, after the change.
class ShutdownState {
public:
    [[nodiscard]] ShutdownStatus Status() const { return m_Value.load().status; }
    [[nodiscard]] bool IsCancelled() const { return m_Value.load().cancelled; }

    // 1, 2, 3 and 5 may follow any status; the flag stays as it is. 4 comes from Cancel alone.
    void SetStatus(ShutdownStatus status);
    void ClearCancelFlag();
    // For a shutdown that starts without a status of its own: drops the flag that an ended one left behind,
    // but not the cancel of one that is pending or under way.
    void ClearStaleCancelFlag();

    // A pending shutdown (1 or 2) becomes a cancelled one: status 4, with the flag. Otherwise nothing
    // changes. Returns the status that was met.
    ShutdownStatus Cancel();

private:
    struct alignas(2) Value { // as wide as it is aligned, so that both compilers take one instruction
        bool cancelled = false;
        ShutdownStatus status = ShutdownStatus::None;
    };
    static_assert(sizeof(Value) == 2 && std::atomic<Value>::is_always_lock_free);

    // Sets what the change makes of the present value, which it may be asked more than once. Returns that
    // value.
    template <class Change>
    Value Replace(Change change);

    // Sequentially consistent on purpose, as the flags beside it.
    std::atomic<Value> m_Value{Value{}};
};

} // namespace em

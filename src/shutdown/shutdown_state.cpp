#include "shutdown/shutdown_state.h"

namespace em {

template <class Change>
ShutdownState::Value ShutdownState::replace(Change change) {
    Value present = m_value.load();
    // The loop is what makes question and effect one step; it runs again only where another change came
    // between.
    while (!m_value.compare_exchange_weak(present, change(present))) {
    }
    return present;
}

void ShutdownState::setStatus(ShutdownStatus status) {
    replace([status](Value present) { return Value{present.cancelled, status}; });
}

void ShutdownState::clearCancelFlag() {
    replace([](Value present) { return Value{false, present.status}; });
}

void ShutdownState::clearStaleCancelFlag() {
    replace([](Value present) {
        const bool ended =
            present.status == ShutdownStatus::None || present.status == ShutdownStatus::Aborted;
        return ended ? Value{false, present.status} : present;
    });
}

void ShutdownState::takeBack(ShutdownStatus before, bool wasCancelled) {
    replace([=](Value present) {
        return Value{present.cancelled || wasCancelled,
                     present.status == ShutdownStatus::Requested ? before : present.status};
    });
}

ShutdownStatus ShutdownState::cancel() {
    return replace([](Value present) {
               return IsShutdownPending(present.status) ? Value{true, ShutdownStatus::Cancelled} : present;
           })
        .status;
}

} // namespace em

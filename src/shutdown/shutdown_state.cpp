#include "shutdown/shutdown_state.h"

namespace em {

template <class Change>
ShutdownState::Value ShutdownState::Replace(Change change) {
    Value present = m_Value.load();
    while (!m_Value.compare_exchange_weak(present, change(present))) {
    }
    return present;
}

void ShutdownState::SetStatus(ShutdownStatus status) {
    Replace([status](Value present) { return Value{present.cancelled, status}; });
}

void ShutdownState::ClearCancelFlag() {
    Replace([](Value present) { return Value{false, present.status}; });
}

void ShutdownState::ClearStaleCancelFlag() {
    Replace([](Value present) {
        const bool ended =
            present.status == ShutdownStatus::None || present.status == ShutdownStatus::Aborted;
        return ended ? Value{false, present.status} : present;
    });
}

ShutdownStatus ShutdownState::Cancel() {
    return Replace([](Value present) {
               return IsShutdownPending(present.status) ? Value{true, ShutdownStatus::Cancelled} : present;
           })
        .status;
}

} // namespace em

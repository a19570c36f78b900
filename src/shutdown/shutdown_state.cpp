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
    replace([status](Value present) {
        present.status = status;
        present.statusWithout = status; // the task handler's: it holds with and without the open requests
        return present;
    });
}

void ShutdownState::clearStaleCancelFlag() {
    replace([](Value present) {
        const bool ended =
            present.status == ShutdownStatus::None || present.status == ShutdownStatus::Aborted;
        present.cancelled = present.cancelled && !ended;
        return present;
    });
}

ShutdownStatus ShutdownState::cancel() {
    return replace([](Value present) {
               if (IsShutdownPending(present.status)) {
                   present.status = ShutdownStatus::Cancelled;
                   present.cancelled = true;
                   if (IsShutdownPending(present.statusWithout)) {
                       present.statusWithout = ShutdownStatus::Cancelled;
                   }
               }
               return present;
           })
        .status;
}

ShutdownState::Request::Request(ShutdownState& state) : m_state(state) {
    m_state.replace([](Value present) {
        if (present.open == 0) {
            present.statusWithout = present.status;
        }
        present.status = ShutdownStatus::Requested;
        ++present.open;
        return present;
    });
}

void ShutdownState::Request::clearCancelFlag() {
    m_state.replace([](Value present) {
        present.cancelledWithout = present.cancelledWithout || present.cancelled;
        present.cancelled = false;
        return present;
    });
}

void ShutdownState::Request::stay() {
    m_state.replace([](Value present) {
        present.statusWithout = present.status;
        present.cancelledWithout = false;
        --present.open;
        return present;
    });
    m_stays = true;
}

// Nothing may be left "pending" or "cancelled" with no task behind it, and an earlier shutdown keeps its
// cancel.
ShutdownState::Request::~Request() {
    if (m_stays) {
        return;
    }
    m_state.replace([](Value present) {
        if (--present.open != 0) {
            return present;
        }
        if (present.status == ShutdownStatus::Requested || present.status == ShutdownStatus::Cancelled) {
            present.status = present.statusWithout;
        }
        const bool underWay =
            IsShutdownPending(present.status) || present.status == ShutdownStatus::Cancelled;
        present.cancelled = (present.cancelled || present.cancelledWithout) && underWay;
        present.cancelledWithout = false;
        return present;
    });
}

} // namespace em

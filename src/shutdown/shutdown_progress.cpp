#include "shutdown/shutdown_progress.h"

#include "base/swallow.h"
#include "contract/trace_lines.h"
#include "frame/envelope/sip_json.h"
#include "osshutdown/os_shutdown.h"
#include "shutdown/host_messages.h"
#include "tasks/task_serializer.h"
#include "trace/trace.h"

namespace em {

void ShutdownProgress::change(ShutdownStatus status) {
    m_state.setStatus(status);
    m_host.statusChanged(status);
}

void ShutdownProgress::queue(const SipJson& request) {
    onException([&] { announceAndQueue(request); },
                [this] { static_cast<void>(swallow([this] { m_host.statusChanged(status()); })); });
}

// The status goes out before the flag is cleared: a host that cancels from inside that call loses its cancel.
void ShutdownProgress::announceAndQueue(const SipJson& request) {
    ShutdownState::Request announced(m_state);
    m_host.statusChanged(ShutdownStatus::Requested);
    announced.clearCancelFlag();
    static_cast<void>(m_queue.InsertTask(request, 0, nullptr));
    announced.stay();
}

// A shutdown cancelled earlier must not cancel this one. A pending one keeps its cancel.
void ShutdownProgress::queueScheduled(const SipJson& request) {
    m_state.clearStaleCancelFlag();
    static_cast<void>(m_queue.InsertTask(request, 0, nullptr));
}

void ShutdownProgress::cancel() {
    const ShutdownStatus met = m_state.cancel();
    if (IsShutdownInProgress(met)) {
        EM_TRACE(1, line::kCancelTooLate);
    } else if (!IsShutdownPending(met)) {
        EM_TRACE(1, line::kNothingToCancel);
    } else {
        EM_TRACE(2, line::kCancelTaken);
        m_host.statusChanged(ShutdownStatus::Cancelled);
    }
}

void ShutdownProgress::begin(const SipJson& request) {
    change(ShutdownStatus::DelayRunning);
    if (&m_pendingRequest != &request) {
        m_pendingRequest = request;
    }
}

void ShutdownProgress::abort(bool notifyToo) {
    m_pendingRequest.EmptyCommands();
    change(ShutdownStatus::Aborted);
    m_host.shutdownCancelled(notifyToo);
    m_executor.AbortShutdownAction(kShutdownTitle, "System shutdown cancelled!");
}

void ShutdownProgress::finish() {
    change(ShutdownStatus::Executing);
}

} // namespace em

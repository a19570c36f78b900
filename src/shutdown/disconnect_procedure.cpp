#include "shutdown/disconnect_procedure.h"

#include "base/clock.h"
#include "contract/reasons.h"
#include "contract/trace_lines.h"
#include "frame/envelope/sip_json.h"
#include "frame/module/cabinet_number.h"
#include "shutdown/host_messages.h"
#include "tasks/task_serializer.h"
#include "trace/trace.h"

namespace em {
namespace {

constexpr uint64_t kPauseMs = 2000;

void reportUserShutdown(HostMessages& host) {
    constexpr uint32_t reason = kReasonSoftwareCommand;
    EM_TRACE(2, line::kShutdownByUser, asInt(reason));
    host.shutdownByUser(reason);
    EM_TRACE(2, "\nEM_SHUTDOWN         : Set power off reason to %d", asInt(reason));
    host.setPowerOffReason(reason);
}

} // namespace

void runDisconnectProcedure(HostMessages& host, CTaskSerializer<SipJson>& queue,
                            const SipJson& pendingRequest) {
    EM_TRACE(1, line::kDisconnectBegins, asInt(cabinetNumber()));
    // First of all: nothing that a request queues from now on could be carried out.
    queue.DisableAllTasks();
    const bool shutdownUnderWay = pendingRequest.CommandCount() != 0;
    if (!shutdownUnderWay) {
        reportUserShutdown(host);
    }
    sleepMs(kPauseMs); // on none of the events: a signal for the delay must not be eaten here
    host.disconnected();
    EM_TRACE(1, line::kDisconnectEnds, asInt(cabinetNumber()));
}

} // namespace em

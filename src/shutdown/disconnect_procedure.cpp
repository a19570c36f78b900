#include "shutdown/disconnect_procedure.h"

#include "base/clock.h"
#include "frame/module/cabinet_number.h"
#include "shutdown/operation_codes.h"
#include "shutdown/reason_table.h"
#include "shutdown/shutdown_module.h"
#include "trace/trace.h"

namespace em {
namespace {

constexpr uint64_t kPauseMs = 2000;

} // namespace

void DisconnectProcedure::Run() {
    EM_TRACE(1, "\nEM_SHUTDOWN         : CAB %04d: ## START CM_Disconnect ##", asInt(cabinetNumber()));
    m_Module.DisableAllTasks();
    if (!ShutdownUnderWay()) {
        ReportUserShutdown();
    }
    sleepMs(kPauseMs); // on none of the events: a signal for the delay must not be eaten here
    SendStatus();
    EM_TRACE(1, "\nEM_SHUTDOWN         : CAB %04d: ## END CM_Disconnect ##", asInt(cabinetNumber()));
}

bool DisconnectProcedure::ShutdownUnderWay() const {
    return m_Module.m_PendingRequest.CommandCount() != 0;
}

void DisconnectProcedure::ReportUserShutdown() {
    constexpr uint32_t reason = kReasonSoftwareCommand;
    EM_TRACE(2, "\nEM_SHUTDOWN         : System shutdown initiated by user - shutdown reason %d!\n",
             asInt(reason));
    SipJson shutdown;
    shutdown.InitEnvelope();
    shutdown.SetOpcode(opcode::CM_RequestShutdownAndOff, 0, 0);
    shutdown.SetUintMember("DA", reason);
    m_Module.SendNotification(shutdown);

    EM_TRACE(2, "\nEM_SHUTDOWN         : Set power off reason to %d", asInt(reason));
    m_Module.SendPowerOffReason(reason);
}

void DisconnectProcedure::SendStatus() {
    SipJson message;
    message.InitEnvelope();
    message.SetCommand(opcode::kShutdownStatusQuery, 0, 0, cabinetNumber(), status::kKeep);
    m_Module.SendNotification(message);
}

} // namespace em

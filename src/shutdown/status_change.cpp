// What moves the shutdown status: the change itself, the cancel operation and the queueing of a shutdown.
#include "frame/module/host_interface.h"
#include "shutdown/operation_codes.h"
#include "shutdown/shutdown_module.h"
#include "trace/trace.h"

namespace em {

void CShutdownExtensionModule::ChangeStatus(ShutdownStatus newStatus) {
    m_State.SetStatus(newStatus);
    ReportStatus(newStatus);
}

void CShutdownExtensionModule::ReportStatus(ShutdownStatus newStatus) {
    const uint32_t value = static_cast<uint32_t>(newStatus);
    EM_TRACE(3, "\nEM_SHUTDOWN         : System shutdown status changed to %d", asInt(value));
    SipJson message;
    message.InitEnvelope();
    message.SetOpcode(opcode::kShutdownStatusChanged, 0, 0);
    message.SetUintMember("DA", value);
    SendNotification(message);
}

void CShutdownExtensionModule::Cancel(bool notify) {
    m_PendingRequest.EmptyCommands();
    ChangeStatus(ShutdownStatus::Aborted);
    SipJson message;
    message.InitEnvelope();
    message.SetOpcode(opcode::CM_ShutdownRequestCancelled, 0, 0);
    SendRequest(message);
    if (notify) {
        SendNotification(message); // as the answer left it
    }
    m_Executor.AbortShutdownAction("Automatic System Shutdown", "System shutdown cancelled!");
}

// The status goes out before the flag is cleared: a host that cancels from inside that call loses its cancel.
void CShutdownExtensionModule::QueueShutdown(const SipJson& envelope) {
    ChangeStatus(ShutdownStatus::Requested);
    m_State.ClearCancelFlag();
    static_cast<void>(InsertTask(envelope, 0, nullptr)); // a refusal has its own line
}

void CShutdownExtensionModule::SendPowerOffReason(uint32_t reason) {
    SipJson message;
    message.InitEnvelope();
    message.SetOpcode(opcode::kSetPowerOffReason, 0, 0);
    message.SetUintMember("DA", reason);
    SendRequest(message);
}

void CShutdownExtensionModule::SendRequest(SipJson& envelope) {
    SendMessage(envelope, kRequestTimeoutMs);
}

void CShutdownExtensionModule::SendNotification(SipJson& envelope) {
    SendMessage(envelope, kNotification);
}

} // namespace em

// Notifications of the host: the system going down and changes of the power state.
#include "frame/module/notification_codes.h"
#include "shutdown/operation_codes.h"
#include "shutdown/shutdown_module.h"
#include "trace/boundary.h"

namespace em {
namespace {

constexpr uint32_t kReadyTimeoutMs = 5000;

} // namespace

unsigned CShutdownExtensionModule::OnModuleNotification(uint32_t code, uint64_t /*parameter*/,
                                                        uint64_t /*extra*/) {
    return atBoundary("OnModuleNotification()", 0U, [&] {
        switch (code) {
        case SCN_SWITCH_SHUTDOWN:
        case SCN_POWERSTATE_SUSPEND:
        case SCN_POWERSTATE_STANDBY:
            SwitchPowerSwitchNotifications(false);
            return 1U;
        case SCN_POWERSTATE_RESUME:
            SwitchPowerSwitchNotifications(true);
            return 1U;
        case SCN_SYSTEM_SHUTDOWN:
            RaiseDisconnectAlert();
            return 1U;
        default:
            return 0U;
        }
    });
}

void CShutdownExtensionModule::RaiseDisconnectAlert() {
    m_ReadyForShutdownEvent.ResetEvent();
    SipJson alert;
    alert.InitEnvelope();
    alert.SetOpcode(opcode::CM_Disconnect, 0, 0);
    if (!InsertTask(alert, 0, &m_ReadyForShutdownEvent)) {
        EM_TRACE(1, "\nEM_SHUTDOWN         : ERROR! InsertTask FAILED!");
        return;
    }
    EM_TRACE(2, "\nEM_SHUTDOWN         : Raise CM_Disconnect alert!");
    if (m_ReadyForShutdownEvent.WaitForEvent(kReadyTimeoutMs, true) != EVENT_SIGNALED) {
        EM_TRACE(1, "\nEM_SHUTDOWN         : WARNING! TIMEOUT waiting 5 sec for ReadyForShutdown event!\n");
    }
}

} // namespace em

// The host's power-switch events, switched on while the module runs.
#include "frame/configuration/module_properties.h"
#include "frame/module/cabinet_number.h"
#include "shutdown/operation_codes.h"
#include "shutdown/shutdown_module.h"
#include "trace/trace.h"

namespace em {

void CShutdownExtensionModule::SwitchPowerSwitchNotifications(bool enable) {
    uint32_t wanted = 1; // also where the property is not there
    static_cast<void>(GetModuleProperty(ModuleName(), wanted, "PowerSwitchEvent (ON/OFF)"));
    if (wanted == 0) {
        return;
    }
    EM_TRACE(1, "\nEM_SHUTDOWN         : %s Power switch notifications!", enable ? "Enable" : "Disable");
    SipJson message;
    message.InitEnvelope();
    message.SetCommand(opcode::kPowerSwitchNotifications, 0, 0, cabinetNumber(), status::kMissing);
    message.SetUintMember("DA", enable ? 1 : 0);
    SendRequest(message);
    EM_TRACE(1, "\nEM_SHUTDOWN         : Power switch notifications %s!", enable ? "enabled" : "disabled");
}

} // namespace em

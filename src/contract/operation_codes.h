// The operation codes ("OC") of the messages between host and module. A request for a shutdown goes to the
// host once more as a notification, when it is past the gate, unless its status is 255.
#pragma once

#include <array>
#include <cstdint>

namespace em {

namespace opcode {

inline constexpr uint32_t kPowerOnStatusEvent = 257;       // to the host: "DA" {"RAW":[0, reason]}
inline constexpr uint32_t kSetPowerOffReason = 279;        // to the host: "DA" the reason
inline constexpr uint32_t kPowerSwitchNotifications = 281; // to the host: "DA" 1 on, 0 off
inline constexpr uint32_t CM_GetMaintenanceMode = 289;     // to the module; answered with "DA" 1 or 0
inline constexpr uint32_t kMaintenanceModeChanged = 513;   // to the host, which asks for the new one
inline constexpr uint32_t CM_Disconnect = 514;             // a task of the module's own, never sent
inline constexpr uint32_t CM_RequestShutdownAndOff = 517;  // "DA" the reason; shutdown_actions.h
inline constexpr uint32_t CM_RequestShutdownAndReset = 518;
inline constexpr uint32_t CM_ShutdownRequestCancelled =
    521; // to the module: a cancel; from it, asked and then told: off
inline constexpr uint32_t CM_RequestShutdownAndHalt = 522;
inline constexpr uint32_t kShutdownStatusQuery = 523; // to the module; from it at the end of a disconnect
inline constexpr uint32_t kShutdownStatusChanged =
    527; // to the host: "DA" the status; to the module: a query
inline constexpr uint32_t CM_AgentServiceRestartRequested = 551; // a reply to the module
inline constexpr uint32_t kHostSettings = 0xE001;                // to the host: "OE" the item; settings.h

} // namespace opcode

struct Operation {
    uint32_t code;
    const char* name; // in scripts and tools
    const char* text; // for people
};

inline constexpr std::array<Operation, 14> kOperations = {{
    {opcode::kPowerOnStatusEvent, "PowerOnStatusEvent", "power-on status event"},
    {opcode::kSetPowerOffReason, "SetPowerOffReason", "set power-off reason"},
    {opcode::kPowerSwitchNotifications, "PowerSwitchNotifications", "power-switch notifications"},
    {opcode::CM_GetMaintenanceMode, "CM_GetMaintenanceMode", "CM_GetMaintenanceMode"},
    {opcode::kMaintenanceModeChanged, "MaintenanceModeChanged", "maintenance mode changed"},
    {opcode::CM_Disconnect, "CM_Disconnect", "CM_Disconnect"},
    {opcode::CM_RequestShutdownAndOff, "CM_RequestShutdownAndOff", "CM_RequestShutdownAndOff"},
    {opcode::CM_RequestShutdownAndReset, "CM_RequestShutdownAndReset", "CM_RequestShutdownAndReset"},
    {opcode::CM_ShutdownRequestCancelled, "CM_ShutdownRequestCancelled", "CM_ShutdownRequestCancelled"},
    {opcode::CM_RequestShutdownAndHalt, "CM_RequestShutdownAndHalt", "CM_RequestShutdownAndHalt"},
    {opcode::kShutdownStatusQuery, "ShutdownStatusQuery", "shutdown status query"},
    {opcode::kShutdownStatusChanged, "ShutdownStatusChanged", "shutdown status"},
    {opcode::CM_AgentServiceRestartRequested, "CM_AgentServiceRestartRequested",
     "CM_AgentServiceRestartRequested"},
    {opcode::kHostSettings, "HostSettings", "host settings"},
}};

// Null for a code that is none of these.
constexpr const Operation* findOperation(uint32_t code) {
    for (const Operation& each : kOperations) {
        if (each.code == code) {
            return &each;
        }
    }
    return nullptr;
}

} // namespace em

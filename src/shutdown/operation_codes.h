// The operation codes ("OC") of the module's messages, the items ("OE") of the host's settings, and the
// status values ("ST") that the module gives. The tools print their tables from here.
#pragma once

#include <cstdint>

namespace em {

namespace opcode {
constexpr uint32_t kPowerOnStatusEvent = 257;
constexpr uint32_t kSetPowerOffReason = 279;
constexpr uint32_t kPowerSwitchNotifications = 281;
constexpr uint32_t CM_GetMaintenanceMode = 289;
constexpr uint32_t kMaintenanceModeChanged = 513;
constexpr uint32_t CM_Disconnect = 514;
constexpr uint32_t CM_RequestShutdownAndOff = 517;
constexpr uint32_t CM_RequestShutdownAndReset = 518;
constexpr uint32_t CM_ShutdownRequestCancelled = 521;
constexpr uint32_t CM_RequestShutdownAndHalt = 522;
constexpr uint32_t kShutdownStatusQuery = 523;
constexpr uint32_t kShutdownStatusChanged = 527;
constexpr uint32_t CM_AgentServiceRestartRequested = 551;
constexpr uint32_t kHostSettings = 0xE001;
} // namespace opcode

// Settings that the host keeps, chosen by the operation code's extension.
namespace setting {
constexpr uint32_t kPowerOffTime = 0xA1; // of a week day, which is the object id
constexpr uint32_t kShutdownDelay = 0x1700;
constexpr uint32_t kForceDelay = 0x1701;
constexpr uint32_t kJobName = 0x1710;
constexpr uint32_t kJobDirectory = 0x1711;
constexpr uint32_t kJobTimeout = 0x1712;
} // namespace setting

namespace status {
constexpr uint32_t kAccepted = 0;
constexpr uint32_t kMalformed = 1;
constexpr uint32_t kEnvelopeCheckFailed = 20;
constexpr uint32_t kMissing = 22; // what readers assume when "ST" is not there
constexpr uint32_t kNotSupported = 25;
constexpr uint32_t kNotEchoed = 255; // a request with it is not sent back to the host
constexpr uint32_t kKeep = 0xFFFFFFFF;
} // namespace status

} // namespace em

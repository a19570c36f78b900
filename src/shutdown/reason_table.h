// The names of the shutdown reasons, for a host whose message file has no text for one.
#pragma once

#include <cstdint>

namespace em {

constexpr uint8_t kReasonSoftwareCommand = 0;
constexpr uint8_t kReasonPowerSwitch = 1;
constexpr uint8_t kReasonRealtimeClock = 3;

// Added to a reason it gives the code under which message files have the reason's text.
constexpr uint32_t kReasonEventCodes = 0xE0000;

struct ReasonName {
    const char* text; // never null, never empty
    bool isDefault;   // the reason has no entry; the caller reports it
};

[[nodiscard]] ReasonName LookUpReason(uint8_t reason);

} // namespace em

// The reasons of a shutdown (the low byte of a request's "DA") and their names, for a host whose message file
// has no text for one.
#pragma once

#include <array>
#include <cstdint>

namespace em {

inline constexpr uint8_t kReasonSoftwareCommand = 0;
inline constexpr uint8_t kReasonPowerSwitch = 1; // skips the delay
inline constexpr uint8_t kReasonRealtimeClock = 3;

// Added to a reason it gives the code under which message files have the reason's text.
inline constexpr uint32_t kReasonEventCodes = 0xE0000;

// Of a reason without an entry.
inline constexpr char kUnknownReason[] = "<Unknown>";

inline constexpr std::array kLowReasons{
    "<Software command>",              // 0x00
    "<Power Switch>",                  // 0x01
    "<Power Failure>",                 // 0x02
    "<Realtime Clock>",                // 0x03
    "<Fan Failure>",                   // 0x04
    "<Critical Temperature>",          // 0x05
    "< ??? >",                         // 0x06
    "<Power Supply Failure>",          // 0x07
    "<Watchdog>",                      // 0x08
    "<Remote Request>",                // 0x09
    "<Hardware Failure>",              // 0x0A
    "<Peripherial Bus Error>",         // 0x0B
    "<CPU Error>",                     // 0x0C
    "< ??? >",                         // 0x0D
    "<Server Off>",                    // 0x0E
    "< ??? >",                         // 0x0F
    "< ??? >",                         // 0x10
    "< ??? >",                         // 0x11
    "<NMI>",                           // 0x12
    "< ??? >",                         // 0x13
    "< ??? >",                         // 0x14
    "<Hardware Reset>",                // 0x15
    "<Warm Start>",                    // 0x16
    "<Reset Button>",                  // 0x17
    "<Power Failure>",                 // 0x18
    "<Management Controller Failure>", // 0x19
    "< ??? >",                         // 0x1A
    "<Keyboard Button>",               // 0x1B
    "< ??? >",                         // 0x1C
    "<Remote Manager Power Off>",      // 0x1D
    "<Remote Manager Reset>",          // 0x1E
    "<Power Cycle>",                   // 0x1F
    "< ??? >",                         // 0x20
    "<Power Limiting>",                // 0x21
    "<MBB continuous operation>",      // 0x22
    "<Watchdog Power Cycle>",          // 0x23
    "<PLEXA Inventory Board>",         // 0x24
    "<PLEXA Init Boot>",               // 0x25
    "<Repeated Fan Fail>",             // 0x26
    "<Repeated Temperature Critical>", // 0x27
};
static_assert(kLowReasons.size() == 40);

inline constexpr unsigned kFirstHighReason = 240;
inline constexpr std::array kHighReasons{
    "<Firmware Restart>", // 0xF0
    "<Housing Opened>",   // 0xF1
    "< ??? >",            // 0xF2
    "< ??? >",            // 0xF3
    "< ??? >",            // 0xF4
    "< ??? >",            // 0xF5
    "< ??? >",            // 0xF6
    "< ??? >",            // 0xF7
    "< ??? >",            // 0xF8
    "< ??? >",            // 0xF9
    "< ??? >",            // 0xFA
    "< ??? >",            // 0xFB
    "< ??? >",            // 0xFC
    "< ??? >",            // 0xFD
    "< ??? >",            // 0xFE
    "<Unknown>",          // 0xFF
};
static_assert(kHighReasons.size() == 16);

struct ReasonName {
    const char* text; // never null, never empty
    bool isDefault;   // the reason has no entry; the module reports it
};

constexpr ReasonName lookUpReason(uint8_t reason) {
    if (reason >= kFirstHighReason) {
        return {kHighReasons[reason - kFirstHighReason], false};
    }
    return reason < kLowReasons.size() ? ReasonName{kLowReasons[reason], false}
                                       : ReasonName{kUnknownReason, true};
}

} // namespace em

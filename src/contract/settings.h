// The settings that the host keeps and the module asks for at the moment of each shutdown (operation code
// 0xE001, the item in "OE"). The answer counts with a status of success (envelope.h) and data of its kind: a
// text, or a number, which may be a text that begins with a digit; every value of 32 bits is taken as it is.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

namespace em {

struct Setting {
    uint32_t item;
    const char* name;
    const char* unit;
    std::optional<uint32_t> fallback; // what counts without an answer; nothing: the module goes without
};

namespace setting {
// Of a week day, "OI" (0 or absent = Sunday); 65535 = none.
inline constexpr Setting kPowerOffTime = {
    0xA1, "power-off time of the week day", "minutes behind midnight", {}};
// A cancel that comes while it runs ends the shutdown once it is over; reason 1 skips it.
inline constexpr Setting kShutdownDelay = {0x1700, "shutdown delay", "seconds", 60};
// The thread that it starts writes its lines and forces nothing; 0: no thread.
inline constexpr Setting kForceDelay = {0x1701, "force delay", "seconds", 120};
// One longer than kLongestJob is cut, and run.
inline constexpr Setting kJobName = {0x1710, "cleanup job", "command line", {}};
inline constexpr Setting kJobDirectory = {0x1711, "the job's working directory", "path", {}};
inline constexpr Setting kJobTimeout = {0x1712, "the job's time limit", "seconds", 120}; // 0: not waited for
} // namespace setting

inline constexpr std::array kSettings = {setting::kPowerOffTime, setting::kShutdownDelay,
                                         setting::kForceDelay,   setting::kJobName,
                                         setting::kJobDirectory, setting::kJobTimeout};

inline constexpr uint32_t kLongestJob = 259; // bytes

// The power-off time's answer for a day without one.
inline constexpr uint32_t kNoPowerOffTime = 0xFFFF;

} // namespace em

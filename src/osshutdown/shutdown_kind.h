// The ways to end the system, with their commands.
#pragma once

#include <array>
#include <cstdint>

namespace em {

struct ShutdownKind {
    uint32_t value;
    const char* word; // in the executor's line
    const char* command;
    const char* forcedCommand;
};

constexpr uint32_t kShutdownReset = 2;
constexpr uint32_t kShutdownHalt = 4;
constexpr uint32_t kShutdownOff = 8;

inline constexpr std::array<ShutdownKind, 3> kShutdownKinds = {{
    {kShutdownReset, "reboot", "/sbin/reboot", "/sbin/reboot -f"},
    {kShutdownHalt, "shutdown", "/sbin/halt", "/sbin/halt -f"},
    {kShutdownOff, "poweroff", "/sbin/poweroff", "/sbin/poweroff -f"},
}};

// Every value that is not in the table powers off.
constexpr const ShutdownKind& shutdownKind(uint32_t value) {
    for (const ShutdownKind& kind : kShutdownKinds) {
        if (kind.value == value) {
            return kind;
        }
    }
    return kShutdownKinds.back();
}
static_assert(shutdownKind(0).value == kShutdownOff);

} // namespace em

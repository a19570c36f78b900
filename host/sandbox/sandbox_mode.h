// Which of the two sandboxes: what stands in place of the commands that end a system, and what that needs.
// Why there are two: docs/decisions/kernel-has-the-last-word.md
#pragma once

#include <cstdint>

namespace volad_dev {

enum class SandboxMode {
    // The recorder, which writes down and does nothing. Whatever does not say otherwise is here.
    Recording,
    // A program of the suite's own, which calls reboot(2) and so ends the sandbox's process namespace. No
    // option or variable of the tool leads here, and the program is not installed.
    Ending,
};

struct SandboxRules {
    const char* name;      // of what stands there, in the marker
    const char* file;      // of that program, beside the tool
    const char* signature; // by this text in its file the guard knows it
    uint64_t capabilities; // that may be left, as bits
};

inline constexpr uint64_t kMayReboot = uint64_t{1} << 22; // CAP_SYS_BOOT

constexpr SandboxRules rulesOf(SandboxMode mode) {
    return mode == SandboxMode::Ending
               ? SandboxRules{"ender", "namespace-ender", "volad-dev namespace ender, calls reboot(2)",
                              kMayReboot}
               : SandboxRules{"recorder", "volad-dev-recorder",
                              "volad-dev command recorder, writes down and does nothing", 0};
}

// With this in front of its command the gate asks for the second one.
inline constexpr const char* kEndingOption = "--ending";

} // namespace volad_dev

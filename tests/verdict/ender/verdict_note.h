// What the ender writes down beside the record of commands, one line an act, before it is done.
#pragma once

namespace volad_dev {

inline constexpr const char* kVerdictNote = "/scratch/verdict";
inline constexpr const char* kRebootCalled = "reboot(2) is called\n";
inline constexpr const char* kRebootRefused = "refused: "; // and the reason

} // namespace volad_dev

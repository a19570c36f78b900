// Whether this process may have a module take down the machine that it runs on: only in a guest that
// vm_test.py started. The sandbox's guard asks for recorders in place of the commands; here the commands are
// real, so this one asks for a machine that is nobody's:
//
// - its processor is emulated, which no file can pretend, and no machine that does work has;
// - its root is the initramfs, and that, the kernel's command line and the firmware's tables all name the one
//   number that was drawn for this guest;
// - process 1 of the machine's own process namespace started this program, as user 0.
//
// What cannot be read counts as not so.
// Why: docs/decisions/machines-in-emulation.md
#pragma once

#include <optional>
#include <string>

namespace em::vm {

// The first of these that is not so, or nothing.
std::optional<std::string> whyNotHere();

} // namespace em::vm

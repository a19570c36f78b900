// What becomes standard input, output and error inside must not be a way out.
#pragma once

#include <array>
#include <cstdint>

#include "base/unique_fd.h"

namespace volad_dev {

// Throws Failure (kExitUsage) with the reason for: a directory, out of which one leaves by fchdir; a block
// device; a device other than a terminal, null, zero, full and the random ones, and the master of a terminal;
// a socket that has a name or whose peer has one, which leads to a service, and which is read and written
// whatever it is given for; a FIFO with a name, which can be opened anew for the other direction; whatever
// else is none of these. Returns a copy in memory where standard input is a file, which could be opened anew
// for writing, else an invalid descriptor. The copy begins where the file is being read; more than `size`
// bytes are refused.
[[nodiscard]] em::UniqueFd checkStandardStreams(const std::array<int, 3>& standard, uint64_t size);

} // namespace volad_dev

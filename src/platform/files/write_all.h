// Writes that go on after a short one and after a signal.
#pragma once

#include <string_view>

#include "base/system.h"

namespace em {

// Both return 0 or the error number; part of the text may have been written then.
[[nodiscard]] int writeAll(int fd, std::string_view text);
[[nodiscard]] int writeAllAt(int fd, std::string_view text, off_t at);

} // namespace em

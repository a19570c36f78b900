// The interpreter that a script names.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace volad_dev {

inline constexpr size_t kInterpreterLine = 256; // bytes at the beginning of a file that can name one

// Out of a file's first bytes: behind "#!", up to the first blank; the kernel ends it at a NUL byte, too.
[[nodiscard]] std::optional<std::string> interpreterIn(std::string firstBytes);

} // namespace volad_dev

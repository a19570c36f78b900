// The dynamic loader that a program names.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace volad_dev {

inline constexpr size_t kElfBeginning = 4096; // bytes in which linkers put it

// Out of the first bytes of a 64-bit ELF file, which may hold anything. None where there is none, or where it
// lies behind them.
[[nodiscard]] std::optional<std::string> elfInterpreter(std::string_view beginning);

} // namespace volad_dev

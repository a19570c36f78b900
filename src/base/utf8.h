// Whether text is UTF-8.
#pragma once

#include <cstddef>
#include <string_view>

namespace em {

// Bytes of the longest valid beginning: shortest forms only, no surrogates, nothing above U+10FFFF.
[[nodiscard]] size_t validUtf8Length(std::string_view text);

} // namespace em

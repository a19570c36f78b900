// Whether text is UTF-8.
#pragma once

#include <cstddef>
#include <string_view>

namespace em {

// Bytes of the longest valid beginning: shortest forms only, no surrogates, nothing above U+10FFFF.
[[nodiscard]] size_t validUtf8Length(std::string_view text);

// Whether these bytes, of which there is at least one, are the beginning of a character that goes on behind
// them.
[[nodiscard]] bool beginsUtf8Character(std::string_view bytes);

} // namespace em

// Text from outside as part of one line of output: whatever it holds, the line stays one and the terminal
// obeys none of it.
#pragma once

#include <string>
#include <string_view>

namespace volad_dev {

// Line ends and tabs become \n, \r and \t; every other control character (C0, DEL, C1), the separators U+2028
// and U+2029, what turns the direction of writing, U+FFFE and U+FFFF, which are no characters, and each byte
// that is no UTF-8 become \xNN, byte by byte.
// All else stays, a backslash too: it separates the names of a registry path, which would be unreadable
// doubled.
[[nodiscard]] std::string visibleText(std::string_view text);

// How many bytes of a visible text take so many columns of a terminal at most. What may be wide counts as
// wide: a line is rather short than wrapped.
[[nodiscard]] size_t lengthInColumns(std::string_view text, size_t columns);

// For JSON, which has its own escapes: only the bytes that are no UTF-8 become \xNN.
[[nodiscard]] std::string utf8Text(std::string_view text);

} // namespace volad_dev

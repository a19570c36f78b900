// Unsigned 32-bit numbers out of JSON numbers and texts.
#pragma once

#include "frame/json/json_value.h"

namespace em::json {

// The low 32 bits of a number's 64-bit value, negative ones in two's complement. What is no integer is cut
// towards zero; what does not fit 64 bits then, or is not finite, gives 0. What is no number gives 0.
[[nodiscard]] uint32_t wordOfNumber(const JsonValue& value);

// A text with C's prefixes: "0x1F" is 31, "017" is 15, "17" is 17; two characters with a leading "0" are
// octal. No blank or sign is skipped; the first character that does not fit the base ends the number, and no
// digit at all gives 0. Saturates at 64 bits, then takes the low 32.
[[nodiscard]] uint32_t wordOfText(std::string_view text);

} // namespace em::json

// A value's data as the registry's file writes it. All pure.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/registry/registry_names.h"

namespace em {

// The type whose marker the text begins with, or null.
[[nodiscard]] const RegistryValueType* valueTypeAt(std::string_view text);
// Null for a sub-key's type and any other that is no value's.
[[nodiscard]] const RegistryValueType* valueTypeOf(int32_t type);

struct ParsedNumber {
    int32_t value = 0;   // the low 32 bits
    bool digits = false; // there was a number
    bool whole = false;  // it was all there was, and fits 32 bits, signed or unsigned
};
// As strtol in base 10: leading white space, a sign, digits up to the first other character; at the ends of
// 64 bits it stays there.
[[nodiscard]] ParsedNumber parseDecimal(std::string_view text);

struct ParsedBlock {
    uint32_t length = 0;
    bool endsEarly = false;  // a character that is neither digit nor blank ended it
    bool longNumber = false; // a number above 255
};
// Blank-separated hexadecimal numbers, without sign or "0x". With null only counts.
[[nodiscard]] ParsedBlock parseHex(std::string_view text, unsigned char* bytes);

// Two lower-case hexadecimal digits and a blank for each byte.
void appendHex(std::string& out, std::string_view bytes);
void appendDecimal(std::string& out, int32_t value);

} // namespace em

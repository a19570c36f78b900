// The registry's values as `volad-dev registry` shows and takes them.
#pragma once

#include <cstdint>
#include <string>

#include "host/common/json_writer.h"

namespace volad_dev {

// The type's word in the command line and the output: "string", "expand", "binary", "dword", or "key".
[[nodiscard]] std::string typeName(int32_t type);
// Texts as they are, binary as pairs of hexadecimal digits with single blanks, a DWORD signed.
[[nodiscard]] std::string shownValue(int32_t type, const std::string& data);

// The data that a command line's value stands for: a DWORD is decimal, or hexadecimal behind "0x", signed or
// unsigned, and binary a row of hexadecimal numbers up to ff. Throws Failure when it is neither.
[[nodiscard]] std::string valueData(int32_t type, const std::string& text);

// The value's members "type" and "value": null for a key, a number for a DWORD, else the text that is shown.
void writeJsonValue(JsonWriter& json, int32_t type, const std::string& data);

} // namespace volad_dev

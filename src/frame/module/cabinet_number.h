// The cabinet number that the host gave, one for the process: it outlives the module object.
#pragma once

#include <cstdint>

namespace em {

// 0 until the host has given one.
[[nodiscard]] uint32_t cabinetNumber();
[[nodiscard]] bool cabinetNumberKnown();
void setCabinetNumber(uint32_t number);

} // namespace em

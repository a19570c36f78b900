// What may be set in a registry: whatever its file could not carry back is refused before it is in the tree.
#pragma once

#include <string_view>

#include "platform/registry/registry_entry.h"

namespace em {

// Each returns null when all is well, and otherwise the reason, to follow "is refused: ".
[[nodiscard]] const char* refusalOfKeyName(std::string_view name);
[[nodiscard]] const char* refusalOfValue(std::string_view name, int32_t type, std::string_view data);

} // namespace em

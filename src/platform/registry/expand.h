// Expansion of %NAME% references to environment variables.
#pragma once

#include <string>
#include <string_view>

namespace em {

// From left to right: "%%" gives "%"; "%" with a later "%" is a reference and gives the variable's value, or
// nothing when it is unset; a lone "%" stands literally with all that follows. What a variable gives is not
// expanded again. Throws std::bad_alloc.
[[nodiscard]] std::string expandReferences(std::string_view text);

} // namespace em

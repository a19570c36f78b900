// The name that somebody may have meant.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace volad_dev {

// The name that `typed` is a beginning of or that is a few slips away (a letter too many, too few, another
// one, two that changed places; one slip for every three letters); empty when there is none.
[[nodiscard]] std::string nearestName(std::string_view typed, const std::vector<std::string>& names);

} // namespace volad_dev

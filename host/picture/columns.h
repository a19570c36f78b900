// How wide a text is where all characters have one width, which the labels of a picture are laid out by.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace volad_dev {

// Of valid UTF-8. Counts two for each character from U+1100 on, where the wide ones begin: rather too much.
[[nodiscard]] size_t columnsOf(std::string_view text);
// So many at most, with "..." in place of what is cut.
[[nodiscard]] std::string cutTo(std::string_view text, size_t most);

} // namespace volad_dev

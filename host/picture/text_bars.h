// A run as bars of characters, for a terminal.
#pragma once

#include <cstddef>
#include <string>

#include "host/picture/run_picture.h"

namespace volad_dev {

struct TextBarsOptions {
    size_t columns; // held between kFewestColumns and kMostColumns
    bool utf8;      // else nothing but ASCII is drawn with
};

inline constexpr size_t kFewestColumns = 50;
inline constexpr size_t kMostColumns = 200;

// No line is wider than that; each has its line end. Messages are counted: the picture should hold all.
[[nodiscard]] std::string textBars(const RunPicture& picture, const TextBarsOptions& options);

} // namespace volad_dev

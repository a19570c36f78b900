// JSON whose numbers are read to the last digit, so that what was read is written as it was. The library's
// own fast way is some units of the last place off beyond 2^53, and its exact one is undefined for "0e300".
#pragma once

#include <string_view>

#include <rapidjson/document.h>

namespace volad_dev {

// Of valid UTF-8, however deep. Where it fails the document is null.
[[nodiscard]] rapidjson::ParseResult parseExactly(std::string_view text, rapidjson::Document& document);

} // namespace volad_dev

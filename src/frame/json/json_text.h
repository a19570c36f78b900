// JSON values as text, for the trace.
#pragma once

#include <string>

#include "frame/json/json_value.h"

namespace em::json {

// Compact: no blanks or line breaks. Numbers that are no integers look as "%g" shows them in the C locale,
// whatever the host's locale is, "nan" and "inf" included. Any depth.
[[nodiscard]] std::string compactText(const JsonValue& value);

} // namespace em::json

// A run as JSON, both ways. The shape: docs/json.md
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "host/run/run.h"

namespace volad_dev {

// One object. Its texts are valid UTF-8 whatever they held.
[[nodiscard]] std::string runJson(const ShutdownRun& run);

// The counterpart: what is missing or of another type keeps its default. Nothing for a text that is no JSON
// object of this schema.
[[nodiscard]] std::optional<ShutdownRun> readRunJson(std::string_view text);

// In words, for a text of which no run can be read.
[[nodiscard]] std::string whyNoRunJson(std::string_view text);

// The object of a job alone: "schema", "job", "left", "warnings".
[[nodiscard]] std::string jobJson(const ShutdownRun& run);

} // namespace volad_dev

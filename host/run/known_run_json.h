// Shutdowns as far as they are known, as JSON. The shape: docs/json.md
#pragma once

#include <string>
#include <vector>

#include "host/run/known_run.h"

namespace volad_dev {

// One object. Its texts are valid UTF-8 whatever they held.
[[nodiscard]] std::string knownRunsJson(const std::vector<KnownRun>& runs);

} // namespace volad_dev

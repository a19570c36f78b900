// A run as the JSON that trace viewers open, such as Perfetto or a browser's own. The shape: docs/json.md
#pragma once

#include <string>

#include "host/run/known_run.h"

namespace volad_dev {

// All of what has a time. Throws Failure when nothing has one: a viewer shows nothing without.
[[nodiscard]] std::string traceEventsJson(const KnownRun& run);

} // namespace volad_dev

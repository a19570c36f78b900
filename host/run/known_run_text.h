// Parts of a run in words, as far as it is known. Whoever prints them makes visible what comes from outside.
#pragma once

#include <string>

#include "host/run/known_run.h"

namespace volad_dev {

// "off by request, reason 3: <Realtime Clock>, at Nov 25 12:00:00"
[[nodiscard]] std::string askedWords(const KnownRun& run);
// The cause where there is one, else the end.
[[nodiscard]] std::string endWords(const KnownRun& run);
// "ended with exit code 0"
[[nodiscard]] std::string noCommandWords(const KnownRun& run); // of a run without one
[[nodiscard]] std::string jobEndWords(const KnownJob& job);

} // namespace volad_dev

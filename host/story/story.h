// A shutdown told in plain words: what was asked, how it ended, what to do, what took how long, and what only
// a higher level of the trace would have told.
#pragma once

#include <string>

#include "host/run/known_run.h"

namespace volad_dev {

inline constexpr size_t kLongestStory = 12; // lines

// Lines with their ends. What comes from outside is made visible.
[[nodiscard]] std::string storyOf(const KnownRun& run);

} // namespace volad_dev

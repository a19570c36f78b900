// A power-off time that a script cannot know: one that counts from now.
#pragma once

#include <optional>
#include <string>

#include "host/hosting/settings.h"
#include "host/rehearsal/schedule.h"

namespace volad_dev {

// "now", "in:Nm" or "HH:MM"; nothing for any other text.
[[nodiscard]] std::optional<Schedule> parseMoment(const std::string& text);

// That minute of its week day is the only power-off time then. "now" is this minute, and the next one where
// this one is nearly over: the module looks at its start and every half minute, and would miss it.
void applyMoment(Settings& settings, const Schedule& moment);

} // namespace volad_dev

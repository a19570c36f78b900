// A schedule as it is written, and its arithmetic: which week day and minute, and how long until then.
#pragma once

#include <ctime>
#include <string>

#include "host/hosting/settings.h"
#include "host/rehearsal/rehearsal_options.h"

namespace volad_dev {

// "in:Nm" or "HH:MM"; nothing for any other text.
[[nodiscard]] std::optional<Schedule> parseSchedule(const std::string& text);

// The next moment, in seconds since 1970, at which the schedule's minute has begun, in local time.
[[nodiscard]] time_t nextMoment(const Schedule& schedule, time_t now);

// Puts the power-off time where the module will look for it: under the week day of that moment, and nowhere
// else.
void applySchedule(Settings& settings, time_t moment);

} // namespace volad_dev

#include "host/drive/power_off_moment.h"

namespace volad_dev {
namespace {

constexpr time_t kMinute = 60;
// Seconds of a minute in which a module that is started now may look too late.
constexpr time_t kNearlyOver = 5;

constexpr Schedule kNow = {0U, std::nullopt};

} // namespace

std::optional<Schedule> parseMoment(const std::string& text) {
    return text == "now" ? std::optional(kNow) : parseSchedule(text);
}

void applyMoment(Settings& settings, const Schedule& moment) {
    const time_t now = time(nullptr);
    const bool nearlyOver = now % kMinute >= kMinute - kNearlyOver;
    applySchedule(settings, nextMoment(moment, moment.inMinutes == 0U && nearlyOver ? now + kMinute : now));
}

} // namespace volad_dev

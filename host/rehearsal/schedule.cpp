#include "host/rehearsal/schedule.h"

#include <charconv>

namespace volad_dev {
namespace {

tm localTime(time_t moment) {
    tm local = {};
    localtime_r(&moment, &local);
    return local;
}

} // namespace

std::optional<Schedule> parseSchedule(const std::string& text) {
    if (const std::optional<uint16_t> minute = parseTimeOfDay(text)) {
        return Schedule{std::nullopt, minute};
    }
    unsigned minutes = 0;
    const char* const end = text.data() + text.size();
    if (!text.starts_with("in:") || !text.ends_with('m') ||
        std::from_chars(text.data() + 3, end, minutes).ptr != end - 1 || minutes == 0 || minutes >= 24 * 60) {
        return std::nullopt;
    }
    return Schedule{minutes, std::nullopt};
}

time_t nextMoment(const Schedule& schedule, time_t now) {
    tm local = localTime(now);
    local.tm_sec = 0;
    local.tm_isdst = -1;
    if (schedule.inMinutes) {
        local.tm_min += static_cast<int>(*schedule.inMinutes);
        return mktime(&local);
    }
    const int today = local.tm_mday;
    local.tm_hour = *schedule.minuteOfDay / 60;
    local.tm_min = *schedule.minuteOfDay % 60;
    const time_t moment = mktime(&local);
    if (moment + 59 >= now) { // the minute itself still counts
        return moment;
    }
    local.tm_mday = today + 1;
    local.tm_isdst = -1;
    return mktime(&local);
}

void applySchedule(Settings& settings, time_t moment) {
    const tm local = localTime(moment);
    settings.powerOffTimes = {};
    settings.powerOffTimes[static_cast<size_t>(local.tm_wday)] =
        static_cast<uint16_t>(local.tm_hour * 60 + local.tm_min);
}

} // namespace volad_dev

#include "host/rehearsal/schedule.h"

namespace volad_dev {
namespace {

tm localTime(time_t moment) {
    tm local = {};
    localtime_r(&moment, &local);
    return local;
}

} // namespace

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

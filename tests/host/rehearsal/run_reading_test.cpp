// The run of a request as read from what the module told the host.
#include "host/rehearsal/run_reading.h"

#include <gtest/gtest.h>

#include "contract/operation_codes.h"
#include "contract/settings.h"
#include "host/rehearsal/schedule.h"

namespace volad_dev {
namespace {

Message status(double time, uint32_t value) {
    return {time, em::opcode::kShutdownStatusChanged, 0, value};
}
Message setting(double time, uint32_t item) {
    return {time, em::opcode::kHostSettings, item, 0};
}

std::vector<Message> runToTheJobAnd(std::vector<Message> rest) {
    std::vector<Message> run = {setting(0.5, em::setting::kPowerOffTime.item),
                                status(1, 1),
                                status(2, 2),
                                setting(2.5, em::setting::kShutdownDelay.item),
                                setting(3, em::setting::kForceDelay.item),
                                setting(6, em::setting::kJobName.item),
                                setting(6.5, em::setting::kJobTimeout.item)};
    run.insert(run.end(), rest.begin(), rest.end());
    return run;
}

CommandRecord commandAt(double time) {
    CommandRecord record;
    record.name = "/sbin/poweroff";
    record.monotonic = time;
    record.directory = "/";
    return record;
}

JobSighting job(double begin, double lastLook, std::optional<int> status) {
    return {.pid = 9, .directory = "/job", .begin = begin, .lastLook = lastLook, .status = status};
}

std::string shown(const std::vector<Phase>& phases) {
    std::string text;
    for (const Phase& phase : phases) {
        text += phase.name + ' ' + std::to_string(phase.seconds).substr(0, 3) + ';';
    }
    return text;
}

TEST(RunReadingTest, PhasesOfARun) {
    const struct {
        Sighted sighted;
        const char* phases;
    } cases[] = {
        {{runToTheJobAnd({status(9.4, 3)}), job(7, 9, 0), commandAt(9.5), 1},
         "gate 1.0;settings 1.0;delay 3.0;job settings 0.5;job 2.5;command 0.5;"},
        {{runToTheJobAnd({status(9.4, 3)}), std::nullopt, commandAt(9.5), 1},
         "gate 1.0;settings 1.0;delay 3.0;job settings 0.5;command 3.0;"},
        {{{status(1, 1), status(1.5, 5)}, {}, {}, 1}, "gate 0.5;"},
        {{{status(1, 1), status(2, 2), setting(3, em::setting::kForceDelay.item), status(4, 4), status(6, 5)},
          {},
          {},
          1},
         "gate 1.0;settings 1.0;delay 3.0;"},
    };
    for (const auto& each : cases) {
        EXPECT_EQ(shown(phasesOf(each.sighted, endTime(each.sighted))), each.phases);
    }
    const Sighted running = {runToTheJobAnd({}), job(7, 8, std::nullopt), {}, 1};
    EXPECT_EQ(shown(phasesOf(running, 8.5)), "gate 1.0;settings 1.0;delay 3.0;job settings 0.5;job 2.0;");
}

TEST(RunReadingTest, WhereARunEnds) {
    const struct {
        std::vector<Message> messages;
        bool stopAsked, commandSeen;
        std::optional<RunEnd> end;
    } cases[] = {{{}, false, false, std::nullopt},
                 {{status(1, 1), status(2, 2), status(3, 4)}, false, false, std::nullopt},
                 {{status(1, 1), status(2, 5)}, false, false, RunEnd::GateRefused},
                 {{status(1, 1), status(2, 2), status(3, 4), status(4, 5)}, false, false, RunEnd::Cancelled},
                 {{status(1, 1), status(2, 2), status(3, 4), status(4, 5)}, false, true, RunEnd::Command},
                 {{status(1, 1), status(2, 2), status(3, 3)}, false, true, RunEnd::Command},
                 {{status(1, 1), status(2, 2), status(3, 3)}, false, false, RunEnd::NotPermitted},
                 {{status(1, 1), status(2, 2), status(3, 3)}, true, false, RunEnd::Stopped},
                 {{status(1, 1), status(2, 2), status(3, 3)}, true, true, RunEnd::Command}};
    for (const auto& each : cases) {
        EXPECT_EQ(endOf(each.messages, each.stopAsked, each.commandSeen), each.end)
            << each.messages.size() << each.stopAsked << each.commandSeen;
    }
}

TEST(ScheduleTest, TheNextMomentAndItsWeekDay) {
    setenv("TZ", "UTC", 1);
    tzset();
    constexpr time_t kMinute = 60;
    constexpr time_t kHour = 60 * kMinute;
    constexpr time_t kThursdayNoon = 12 * kHour + 30; // 1970-01-01 12:00:30
    const struct {
        Schedule schedule;
        time_t moment;
        size_t day;
        uint16_t minute;
    } cases[] = {{{1U, std::nullopt}, 12 * kHour + kMinute, 4, 721},
                 {{12U * 60, std::nullopt}, 24 * kHour, 5, 0},
                 {{std::nullopt, uint16_t{720}}, 12 * kHour, 4, 720},
                 {{std::nullopt, uint16_t{800}}, 800 * kMinute, 4, 800},
                 {{std::nullopt, uint16_t{719}}, 24 * kHour + 719 * kMinute, 5, 719}};
    for (const auto& each : cases) {
        const time_t moment = nextMoment(each.schedule, kThursdayNoon);
        EXPECT_EQ(moment, each.moment);
        Settings settings;
        settings.powerOffTimes.fill(1);
        applySchedule(settings, moment);
        for (size_t day = 0; day < 7; ++day) {
            EXPECT_EQ(settings.powerOffTimes[day],
                      day == each.day ? std::optional(each.minute) : std::nullopt);
        }
    }
}

} // namespace
} // namespace volad_dev

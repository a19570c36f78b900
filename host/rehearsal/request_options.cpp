#include "host/rehearsal/request_options.h"

#include <array>
#include <charconv>

#include <CLI/CLI.hpp>

#include "host/common/choice_option.h"
#include "host/hosting/settings.h"

namespace volad_dev {
namespace {

// As people list them; the table's order is the executor's.
constexpr std::array<Choice<const em::ShutdownAction*>, em::kShutdownActions.size()> kTargets = [] {
    std::array<Choice<const em::ShutdownAction*>, em::kShutdownActions.size()> targets{};
    targets[0] = {em::kShutdownActions.back().name, &em::kShutdownActions.back()};
    for (size_t i = 1; i < targets.size(); ++i) {
        targets[i] = {em::kShutdownActions[i - 1].name, &em::kShutdownActions[i - 1]};
    }
    return targets;
}();

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

} // namespace

void addRequestOptions(CLI::App& app, RehearsalOptions& options) {
    addChoice(app, "target", options.action, kTargets, "what the module is asked to do");
    addNumber(app, "--reason", options.reason, 0, 255, "reason of the request");
    addSeconds(app, "--cancel-after", options.cancelAfter, "cancel so long after the request");
    addSeconds(app, "--stop-after", options.stopAfter, "stop the module so long after it");
    CLI::Option* const schedule = app.add_option_function<std::string>(
        "--schedule", [&options](const std::string& text) { options.schedule = parseSchedule(text); },
        "power off at a time of day, unasked");
    mustBe(schedule->type_name("in:1m|HH:MM"), "in:1m or HH:MM",
           [](const std::string& text) { return parseSchedule(text).has_value(); });
    CLI::Option* const trace = app.add_option_function<std::string>(
        "--trace",
        [&options](const std::string& text) { options.trace = static_cast<unsigned>(*wholeNumber(text)); },
        "show the trace of this level, 0 to 5");
    mustBe(trace->type_name("N"), "a whole number from 0 to 5", [](const std::string& text) {
        const std::optional<int64_t> level = wholeNumber(text);
        return level && *level >= 0 && *level <= 5;
    });
}

void addFileOptions(CLI::App& app, RehearsalOptions& options) {
    mustExist(app.add_option("--module", options.module, "the module, else the one beside this tool"),
              Existing::File);
    mustExist(app.add_option("--settings", options.settings, "what the host knows, as JSON"), Existing::File);
    mustExist(app.add_option("--messages", options.messages, "message file with the reasons' texts"),
              Existing::File);
}

} // namespace volad_dev

#include "host/rehearsal/request_options.h"

#include <array>

#include <CLI/CLI.hpp>

#include "host/common/choice_option.h"
#include "host/rehearsal/schedule.h"

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

} // namespace

void addRequestOptions(CLI::App& app, RehearsalOptions& options) {
    addChoice(app, "target", options.action, kTargets, "what the module is asked to do");
    addNumber(app, "--reason", options.reason, 0, 255, "reason of the request");
    addSeconds(app, "--cancel-after", options.cancelAfter, "cancel so long after the request");
    addSeconds(app, "--stop-after", options.stopAfter, "stop the module so long after it");
    CLI::Option* const schedule = app.add_option_function<std::string>(
        "--schedule", [&options](const std::string& text) { options.schedule = parseSchedule(text); },
        "power off at a time of day, unasked");
    mustBe(schedule->type_name("in:Nm|HH:MM"), "HH:MM, or in:Nm with 1 to 1439 minutes",
           [](const std::string& text) { return parseSchedule(text).has_value(); });
    addTraceOption(app, options.trace, "show the trace of this level, 0 to 5");
}

void addTraceOption(CLI::App& app, std::optional<unsigned>& level, const char* description) {
    CLI::Option* const trace = app.add_option_function<std::string>(
        "--trace", [&level](const std::string& text) { level = static_cast<unsigned>(*wholeNumber(text)); },
        description);
    mustBe(trace->type_name("N"), "a whole number from 0 to 5", [](const std::string& text) {
        const std::optional<int64_t> number = wholeNumber(text);
        return number && *number >= 0 && *number <= 5;
    });
}

void addFileOptions(CLI::App& app, RehearsalOptions& options) {
    addFileOptions(app, options.module, options.settings, options.messages);
}

void addFileOptions(CLI::App& app, std::string& module, std::string& settings, std::string& messages) {
    mustExist(app.add_option("--module", module, "the module, else the one beside this tool"),
              Existing::File);
    mustExist(app.add_option("--settings", settings, "what the host knows, as JSON"), Existing::File);
    mustExist(app.add_option("--messages", messages, "message file with the reasons' texts"), Existing::File);
}

} // namespace volad_dev

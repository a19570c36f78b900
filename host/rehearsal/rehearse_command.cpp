#include "host/rehearsal/rehearse_command.h"

#include <algorithm>
#include <charconv>
#include <memory>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "host/common/choice_option.h"
#include "host/hosting/settings.h"
#include "host/rehearsal/rehearsal.h"
#include "host/rehearsal/rehearsal_launch.h"
#include "host/sandbox/sandbox_command.h"

namespace volad_dev {
namespace {

constexpr const char* kHidden = "";

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

std::string textOf(const Schedule& schedule) {
    return schedule.inMinutes
               ? fmt::format("in:{}m", *schedule.inMinutes)
               : fmt::format("{:02}:{:02}", *schedule.minuteOfDay / 60, *schedule.minuteOfDay % 60);
}

// What the table has last comes first: it is the default.
std::vector<Choice<const em::ShutdownAction*>> actionChoices() {
    std::vector<Choice<const em::ShutdownAction*>> choices;
    for (const em::ShutdownAction& action : em::kShutdownActions) {
        choices.push_back({action.name, &action});
    }
    std::rotate(choices.begin(), choices.end() - 1, choices.end());
    return choices;
}

const char* nameOf(Maintenance maintenance) {
    return maintenance == Maintenance::On ? "on" : maintenance == Maintenance::Off ? "off" : "missing";
}

} // namespace

Command addRehearseCommand(CLI::App& app) {
    const auto options = std::make_shared<RehearsalOptions>();
    RehearsalOptions& target = *options;
    CLI::App* rehearse = app.add_subcommand("rehearse", "let the module end this system, in a sandbox");
    addChoice(*rehearse, "target", target.action, actionChoices(), "what the module is asked to do");
    mustExist(rehearse->add_option("--module", target.module, "the module, else the one beside this tool"),
              Existing::File);
    addNumber(*rehearse, "--reason", target.reason, 0, 255, "reason of the request");
    mustExist(rehearse->add_option("--settings", target.settings, "what the host knows, as JSON"),
              Existing::File);
    mustExist(rehearse->add_option("--messages", target.messages, "message file with the reasons' texts"),
              Existing::File);
    addSeconds(*rehearse, "--cancel-after", target.cancelAfter, "cancel so long after the request");
    addSeconds(*rehearse, "--stop-after", target.stopAfter, "stop the module so long after it");
    addMaintenanceOption(*rehearse, target.maintenance);
    CLI::Option* const schedule = rehearse->add_option_function<std::string>(
        "--schedule", [&target](const std::string& text) { target.schedule = parseSchedule(text); },
        "power off at a time of day, without a request");
    mustBe(schedule->type_name("in:1m|HH:MM"), "in:1m or HH:MM",
           [](const std::string& text) { return parseSchedule(text).has_value(); });
    addNumber(*rehearse, "--trace", target.trace, 0, 5, "level of the trace");
    rehearse->add_option("--json", target.json, "write the verdict to this file, too")->type_name("FILE");
    // For the second start of this very tool, inside the sandbox; nobody types them.
    rehearse->add_flag("--inside", target.inside)->group(kHidden);
    rehearse->add_option("--stop-fd", target.stopFd)->group(kHidden);
    rehearse->add_option("--json-fd", target.jsonFd)->group(kHidden);
    return {rehearse,
            [options] { return options->inside ? runRehearsal(*options) : launchRehearsal(*options); }};
}

// The counterpart of what the parser takes, written by hand: an option that is missing here does nothing
// inside the sandbox. A verdict file is not handed on: it is outside, and its bytes come back through a
// descriptor.
std::vector<std::string> argumentsOf(const RehearsalOptions& options) {
    std::vector<std::string> arguments = {"rehearse",
                                          options.action->name,
                                          "--module",
                                          options.module,
                                          "--reason",
                                          std::to_string(options.reason),
                                          "--maintenance",
                                          nameOf(options.maintenance),
                                          "--trace",
                                          std::to_string(options.trace),
                                          "--inside",
                                          "--stop-fd",
                                          std::to_string(options.stopFd),
                                          "--json-fd",
                                          std::to_string(options.jsonFd)};
    const auto add = [&](const char* name, const std::string& value) {
        arguments.emplace_back(name);
        arguments.push_back(value);
    };
    if (!options.settings.empty()) {
        add("--settings", options.settings);
    }
    if (!options.messages.empty()) {
        add("--messages", options.messages);
    }
    if (options.cancelAfter) {
        add("--cancel-after", fmt::format("{}", *options.cancelAfter));
    }
    if (options.stopAfter) {
        add("--stop-after", fmt::format("{}", *options.stopAfter));
    }
    if (options.schedule) {
        add("--schedule", textOf(*options.schedule));
    }
    return arguments;
}

} // namespace volad_dev

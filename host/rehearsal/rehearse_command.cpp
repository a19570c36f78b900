#include "host/rehearsal/rehearse_command.h"

#include <charconv>
#include <memory>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

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

void addSeconds(CLI::App& app, const char* name, std::optional<double>& target, const char* description) {
    app.add_option(name, target, description)->check(CLI::Range(0.0, 86400.0));
}

const em::ShutdownAction* actionOf(const std::string& name) {
    for (const em::ShutdownAction& action : em::kShutdownActions) {
        if (name == action.name) {
            return &action;
        }
    }
    return nullptr;
}

std::string actionNames() {
    std::string names;
    for (const em::ShutdownAction& action : em::kShutdownActions) {
        names += (names.empty() ? "" : " | ") + std::string(action.name);
    }
    return names;
}

const char* nameOf(Maintenance maintenance) {
    return maintenance == Maintenance::On ? "on" : maintenance == Maintenance::Off ? "off" : "missing";
}

} // namespace

Command addRehearseCommand(CLI::App& app) {
    const auto options = std::make_shared<RehearsalOptions>();
    RehearsalOptions& target = *options;
    CLI::App* rehearse = app.add_subcommand("rehearse", "let the module end this system, in a sandbox");
    rehearse
        ->add_option_function<std::string>(
            "target", [&target](const std::string& name) { target.action = actionOf(name); }, actionNames())
        ->check([](const std::string& name) {
            return actionOf(name) != nullptr ? std::string()
                                             : "expected " + actionNames() + " instead of " + name;
        })
        ->default_str("off");
    rehearse->add_option("--module", target.module, "the shared object, else the one beside this tool")
        ->check(CLI::ExistingFile);
    rehearse->add_option("--reason", target.reason, "reason of the request, 0 to 255")
        ->check(CLI::Range(0, 255));
    rehearse->add_option("--settings", target.settings, "what the host knows, a JSON file")
        ->check(CLI::ExistingFile);
    rehearse
        ->add_option("--messages", target.messages, "the host's message file, with the texts of the reasons")
        ->check(CLI::ExistingFile);
    addSeconds(*rehearse, "--cancel-after", target.cancelAfter, "cancel so many seconds after the request");
    addSeconds(*rehearse, "--stop-after", target.stopAfter,
               "stop the module so many seconds after the request");
    addMaintenanceOption(*rehearse, target.maintenance);
    rehearse
        ->add_option_function<std::string>(
            "--schedule", [&target](const std::string& text) { target.schedule = parseSchedule(text); },
            "power off at a time of day instead of by a request: in:1m or HH:MM")
        ->check([](const std::string& text) {
            return parseSchedule(text) ? std::string() : "expected in:1m or HH:MM instead of " + text;
        });
    rehearse->add_option("--trace", target.trace, "level of the trace, 0 to 5")->check(CLI::Range(0, 5));
    rehearse->add_option("--json", target.json, "write the verdict to this file, too");
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

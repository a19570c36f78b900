#include "host/rehearsal/inside_command.h"

#include <cstdint>
#include <memory>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "host/common/choice_option.h"
#include "host/rehearsal/rehearsal.h"
#include "host/rehearsal/request_options.h"
#include "host/sandbox/sandbox_command.h"

namespace volad_dev {
namespace {

constexpr const char* kVerb = "rehearse-inside";

std::string textOf(const Schedule& schedule) {
    return schedule.inMinutes
               ? fmt::format("in:{}m", *schedule.inMinutes)
               : fmt::format("{:02}:{:02}", *schedule.minuteOfDay / 60, *schedule.minuteOfDay % 60);
}

} // namespace

Command addInsideCommand(CLI::App& app) {
    const auto options = std::make_shared<RehearsalOptions>();
    CLI::App* const inside = app.add_subcommand(kVerb)->group("");
    addRequestOptions(*inside, *options);
    addFileOptions(*inside, *options);
    addMaintenanceOption(*inside, options->maintenance);
    addNumber(*inside, "--uid", options->uid, 0, UINT32_MAX - 1, "");
    inside->add_flag("--without-delay", options->withoutDelay);
    addNumber(*inside, "--stop-fd", options->stopFd, 0, INT32_MAX, "");
    addNumber(*inside, "--events-fd", options->eventsFd, 0, INT32_MAX, "");
    inside->add_option("--settings-of", options->settings);
    addNumber(*inside, "--settings-fd", options->settingsFd, -1, INT32_MAX, "");
    return {inside, [options] { return runRehearsal(*options); }};
}

std::vector<std::string> insideArguments(const RehearsalOptions& options) {
    std::vector<std::string> arguments = {kVerb, options.action->name};
    const auto add = [&](const char* name, const std::string& value) {
        arguments.emplace_back(name);
        arguments.push_back(value);
    };
    add("--module", options.module);
    add("--reason", std::to_string(options.reason));
    add("--maintenance", nameOf(options.maintenance));
    add("--uid", std::to_string(options.uid));
    add("--stop-fd", std::to_string(options.stopFd));
    add("--events-fd", std::to_string(options.eventsFd));
    if (options.trace) {
        add("--trace", std::to_string(*options.trace));
    }
    if (!options.settings.empty()) {
        add("--settings-of", options.settings);
        add("--settings-fd", std::to_string(options.settingsFd));
    }
    if (!options.messages.empty()) {
        add("--messages", options.messages);
    }
    if (options.cancelAfter) {
        add("--cancel-after", fmt::format("{:.6f}", *options.cancelAfter));
    }
    if (options.stopAfter) {
        add("--stop-after", fmt::format("{:.6f}", *options.stopAfter));
    }
    if (options.schedule) {
        add("--schedule", textOf(*options.schedule));
    }
    if (options.withoutDelay) {
        arguments.emplace_back("--without-delay");
    }
    return arguments;
}

} // namespace volad_dev

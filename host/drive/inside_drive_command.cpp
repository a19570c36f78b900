#include "host/drive/inside_drive_command.h"

#include <cstdint>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/common/option_checks.h"
#include "host/drive/driving.h"
#include "host/rehearsal/request_options.h"

namespace volad_dev {
namespace {

constexpr const char* kVerb = "drive-inside";

} // namespace

Command addInsideDriveCommand(CLI::App& app) {
    const auto options = std::make_shared<DriveOptions>();
    CLI::App* const inside = app.add_subcommand(kVerb)->group("");
    inside->add_option("--script", options->script);
    inside->add_option("--here", options->here);
    inside->add_option("--module", options->module);
    inside->add_option("--messages", options->messages);
    addTraceOption(*inside, options->trace, "");
    addNumber(*inside, "--limit", options->limit, 1, UINT32_MAX, "");
    inside->add_flag("--goes-on", options->goesOn);
    addNumber(*inside, "--stop-fd", options->stopFd, 0, INT32_MAX, "");
    addNumber(*inside, "--events-fd", options->eventsFd, 0, INT32_MAX, "");
    addNumber(*inside, "--script-fd", options->scriptFd, 0, INT32_MAX, "");
    inside->add_option("--settings-of", options->settings);
    addNumber(*inside, "--settings-fd", options->settingsFd, -1, INT32_MAX, "");
    return {inside, [options] { return runDriving(*options); }};
}

std::vector<std::string> insideArguments(const DriveOptions& options) {
    std::vector<std::string> arguments = {kVerb};
    const auto add = [&](const char* name, const std::string& value) {
        arguments.push_back(name + ("=" + value)); // "--script=-": a value that begins with "-" is one
    };
    add("--script", options.script);
    add("--here", options.here);
    add("--module", options.module);
    add("--limit", std::to_string(options.limit));
    add("--stop-fd", std::to_string(options.stopFd));
    add("--events-fd", std::to_string(options.eventsFd));
    add("--script-fd", std::to_string(options.scriptFd));
    if (options.trace) {
        add("--trace", std::to_string(*options.trace));
    }
    if (!options.messages.empty()) {
        add("--messages", options.messages);
    }
    if (options.settingsFd >= 0) {
        add("--settings-of", options.settings);
        add("--settings-fd", std::to_string(options.settingsFd));
    }
    if (options.goesOn) {
        arguments.emplace_back("--goes-on");
    }
    return arguments;
}

} // namespace volad_dev

#include "host/sandbox/sandbox_command.h"

#include <charconv>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/sandbox/environment_file.h"
#include "host/sandbox/sandbox.h"

namespace volad_dev {
namespace {

struct SandboxCommand {
    SandboxOptions options;
    std::vector<std::string> command;
};

// "64M": bytes, or with K, M or G behind it so many of them.
std::optional<uint64_t> parseSize(const std::string& text) {
    uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto [rest, failed] = std::from_chars(text.data(), end, number);
    const std::string unit(rest, end);
    const size_t power = unit.empty() ? 0 : std::string("KMG").find(unit) + 1;
    constexpr uint64_t kMost = uint64_t{1} << 40;
    if (failed != std::errc() || (!unit.empty() && power == 0) || unit.size() > 1 || number == 0 ||
        number > kMost >> (10 * power)) {
        return std::nullopt;
    }
    return number << (10 * power);
}

} // namespace

CLI::Option* addMaintenanceOption(CLI::App& app, Maintenance& target) {
    const std::map<std::string, Maintenance> names = {
        {"on", Maintenance::On}, {"off", Maintenance::Off}, {"missing", Maintenance::ToolMissing}};
    return app
        .add_option("--maintenance", target, "what the maintenance tool answers: on, off, or it is missing")
        ->transform(CLI::CheckedTransformer(names))
        ->default_str("on");
}

void addSandboxOptions(CLI::App& app, SandboxOptions& options) {
    app.add_option("--uid", options.uid, "user inside, 0 is root without rights");
    app.add_flag("--as-nobody", options.asNobody, "started by root, give up root first");
    app.add_flag("--systemctl", options.serviceManager, "have a systemctl, a recorder");
    app.add_option("--bind", options.readOnly, "show a directory or file, read-only")
        ->allow_extra_args(false);
    app.add_option("--copy", options.copies, "show a private, writable copy of it")->allow_extra_args(false);
    app.add_option("--scratch", options.scratch, "writable directory, else in memory");
    app.add_option_function<std::string>(
           "--size", [&options](const std::string& text) { options.size = parseSize(text).value_or(0); },
           "bound of each writable place: 64M, 1G")
        ->check([](const std::string& text) {
            return parseSize(text) ? std::string() : "size must be like 64M or 1G, not \"" + text + '"';
        })
        ->default_str("256M");
    app.add_option("--path", options.path, "PATH inside");
    app.add_option_function<std::string>(
        "--env-from", [&options](const std::string& file) { options.service = readEnvironmentFile(file); },
        "a service's environment, lines NAME=value");
}

Command addSandboxCommand(CLI::App& app) {
    const auto target = std::make_shared<SandboxCommand>();
    CLI::App* sandbox =
        app.add_subcommand("sandbox", "run a command where nothing it does can reach this machine");
    SandboxOptions& options = target->options;
    addSandboxOptions(*sandbox, options);
    addMaintenanceOption(*sandbox, options.maintenance);
    sandbox->add_option("--setenv", options.environment, "NAME=value for the command's environment")
        ->allow_extra_args(false);
    sandbox->add_option("command", target->command, "the command and its arguments")->required();
    return {sandbox, [target] { return runInSandbox(target->options, target->command); }};
}

} // namespace volad_dev

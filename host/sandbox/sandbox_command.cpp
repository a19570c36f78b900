#include "host/sandbox/sandbox_command.h"

#include <array>
#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/common/choice_option.h"
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
    static constexpr std::array<Choice<Maintenance>, 3> kChoices{
        {{"on", Maintenance::On}, {"off", Maintenance::Off}, {"missing", Maintenance::ToolMissing}}};
    return addChoice(app, "--maintenance", target, kChoices, "what the maintenance tool answers");
}

void addSandboxOptions(CLI::App& app, SandboxOptions& options) {
    addNumber(app, "--uid", options.uid, 0, UINT32_MAX - 1, "user inside, root has no rights");
    app.add_flag("--as-nobody", options.asNobody, "started by root, give up root first");
    app.add_flag("--systemctl", options.serviceManager, "have a systemctl, a recorder");
    mustExist(app.add_option("--bind", options.readOnly, "show a directory or file, read-only")
                  ->allow_extra_args(false),
              Existing::FileOrDirectory);
    mustExist(app.add_option("--copy", options.copies, "show a private, writable copy of it")
                  ->allow_extra_args(false),
              Existing::FileOrDirectory);
    mustExist(app.add_option("--scratch", options.scratch, "writable directory, else in memory"),
              Existing::Directory);
    CLI::Option* const size = app.add_option_function<std::string>(
        "--size", [&options](const std::string& text) { options.size = parseSize(text).value_or(0); },
        "bound of each writable place");
    mustBe(size->type_name("N")->default_str("256M"), "a size like 64M or 1G",
           [](const std::string& text) { return parseSize(text).has_value(); });
    mustBe(app.add_option("--path", options.path, "PATH inside")->type_name("TEXT"), "a row of directories",
           [](const std::string& path) { return !path.empty(); });
    app.add_option_function<std::string>(
           "--env-from", [&options](const std::string& file) { options.service = readEnvironmentFile(file); },
           "a service's environment, lines NAME=value")
        ->type_name("FILE");
}

Command addSandboxCommand(CLI::App& app) {
    const auto target = std::make_shared<SandboxCommand>();
    CLI::App* sandbox =
        app.add_subcommand("sandbox", "run a command where nothing it does can reach this machine");
    SandboxOptions& options = target->options;
    addSandboxOptions(*sandbox, options);
    addMaintenanceOption(*sandbox, options.maintenance);
    sandbox->add_option("--setenv", options.environment, "a variable of the command's environment")
        ->allow_extra_args(false)
        ->type_name("NAME=VALUE");
    sandbox->add_option("command", target->command, "the command and its arguments")->required();
    return {sandbox, [target] { return runInSandbox(target->options, target->command); }};
}

} // namespace volad_dev

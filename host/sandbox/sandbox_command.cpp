#include "host/sandbox/sandbox_command.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/sandbox/sandbox.h"

namespace volad_dev {
namespace {

struct SandboxCommand {
    SandboxOptions options;
    std::vector<std::string> command;
};

} // namespace

CLI::Option* addMaintenanceOption(CLI::App& app, Maintenance& target) {
    const std::map<std::string, Maintenance> names = {
        {"on", Maintenance::On}, {"off", Maintenance::Off}, {"missing", Maintenance::ToolMissing}};
    return app
        .add_option("--maintenance", target, "what the maintenance tool answers: on, off, or it is missing")
        ->transform(CLI::CheckedTransformer(names))
        ->default_str("on");
}

Command addSandboxCommand(CLI::App& app) {
    const auto target = std::make_shared<SandboxCommand>();
    CLI::App* sandbox =
        app.add_subcommand("sandbox", "run a command where nothing it does can reach this machine");
    SandboxOptions& options = target->options;
    sandbox->add_option("--uid", options.uid, "user inside, 0 is root without capabilities");
    addMaintenanceOption(*sandbox, options.maintenance);
    sandbox->add_flag("--systemctl", options.serviceManager,
                      "let /usr/bin/systemctl be there, as a recorder");
    sandbox->add_option("--bind", options.readOnly, "make a directory or file visible, read-only")
        ->allow_extra_args(false)
        ->check(CLI::ExistingPath);
    sandbox->add_option("--scratch", options.scratch, "writable directory, else one in memory")
        ->check(CLI::ExistingDirectory);
    sandbox->add_option("--setenv", options.environment, "NAME=value for the command's environment")
        ->allow_extra_args(false);
    sandbox->add_option("command", target->command, "the command and its arguments")->required();
    return {sandbox, [target] { return runInSandbox(target->options, target->command); }};
}

} // namespace volad_dev

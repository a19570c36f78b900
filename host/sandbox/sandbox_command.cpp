#include "host/sandbox/sandbox_command.h"

#include <array>
#include <memory>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "host/common/choice_option.h"
#include "host/sandbox/sandbox.h"

namespace volad_dev {
namespace {

struct SandboxCommand {
    SandboxOptions options;
    std::vector<std::string> command;
};

} // namespace

CLI::Option* addMaintenanceOption(CLI::App& app, Maintenance& target) {
    static constexpr std::array<Choice<Maintenance>, 3> kChoices{
        {{"on", Maintenance::On}, {"off", Maintenance::Off}, {"missing", Maintenance::ToolMissing}}};
    return addChoice(app, "--maintenance", target, kChoices, "what the maintenance tool answers");
}

Command addSandboxCommand(CLI::App& app) {
    const auto target = std::make_shared<SandboxCommand>();
    CLI::App* sandbox =
        app.add_subcommand("sandbox", "run a command where nothing it does can reach this machine");
    SandboxOptions& options = target->options;
    addNumber(*sandbox, "--uid", options.uid, 0, UINT32_MAX - 1,
              "user inside, 0 is root without capabilities");
    addMaintenanceOption(*sandbox, options.maintenance);
    sandbox->add_flag("--systemctl", options.serviceManager,
                      "let /usr/bin/systemctl be there, as a recorder");
    mustExist(sandbox->add_option("--bind", options.readOnly, "make a directory or file visible, read-only")
                  ->allow_extra_args(false),
              Existing::FileOrDirectory);
    mustExist(sandbox->add_option("--scratch", options.scratch, "writable directory, else one in memory"),
              Existing::Directory);
    sandbox->add_option("--setenv", options.environment, "a variable of the command's environment")
        ->allow_extra_args(false)
        ->type_name("NAME=VALUE");
    sandbox->add_option("command", target->command, "the command and its arguments")->required();
    return {sandbox, [target] { return runInSandbox(target->options, target->command); }};
}

} // namespace volad_dev

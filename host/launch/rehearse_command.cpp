#include "host/launch/rehearse_command.h"

#include <array>
#include <memory>

#include <CLI/CLI.hpp>

#include "host/common/choice_option.h"
#include "host/common/failure.h"
#include "host/common/json_output.h"
#include "host/launch/rehearsal_launch.h"
#include "host/rehearsal/request_options.h"
#include "host/sandbox/sandbox_command.h"

namespace volad_dev {
namespace {

enum class GateChoice { On, Off, Missing, Here };
constexpr std::array<Choice<GateChoice>, 4> kGateChoices{{{"on", GateChoice::On},
                                                          {"off", GateChoice::Off},
                                                          {"missing", GateChoice::Missing},
                                                          {"here", GateChoice::Here}}};

struct RehearseCommand {
    LaunchOptions options;
    GateChoice gate = GateChoice::On;
};

int run(RehearseCommand command) {
    LaunchOptions& options = command.options;
    if (options.run.schedule && options.run.action->kind != em::ShutdownKind::Off) {
        throw Failure("--schedule goes with off only: a schedule of the host's powers off", kExitUsage);
    }
    if (options.run.schedule && options.run.reason != 0) {
        throw Failure("--reason goes with a request only: a scheduled power-off has reason 3", kExitUsage);
    }
    options.maintenanceHere = command.gate == GateChoice::Here;
    options.sandbox.maintenance = command.gate == GateChoice::Off       ? Maintenance::Off
                                  : command.gate == GateChoice::Missing ? Maintenance::ToolMissing
                                                                        : Maintenance::On;
    return launchRehearsal(options);
}

} // namespace

Command addRehearseCommand(CLI::App& app) {
    const auto command = std::make_shared<RehearseCommand>();
    LaunchOptions& options = command->options;
    CLI::App* const rehearse = app.add_subcommand("rehearse", "let the module end this system, in a sandbox");
    addRequestOptions(*rehearse, options.run);
    addChoice(*rehearse, "--maintenance", command->gate, kGateChoices, "what the gate's tool answers");
    rehearse->add_flag("--strict", options.strict, "a job that fails is not as asked");
    addJsonOption(*rehearse, options.json);
    addFileOptions(*rehearse, options.run);
    addSandboxOptions(*rehearse, options.sandbox);
    return {rehearse, [command] { return run(*command); }};
}

} // namespace volad_dev

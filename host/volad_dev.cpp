// volad-dev, the development host: the tool's entry.
#include <exception>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "em_version.h"
#include "host/exit_code.h"
#include "host/messages_command.h"
#include "host/profile_command.h"
#include "host/registry_command.h"
#include "host/rehearsal.h"
#include "host/rehearsal_launch.h"
#include "host/rehearse_command.h"
#include "host/sandbox.h"
#include "host/sandbox_command.h"

namespace volad_dev {
namespace {

int run(int argc, char** argv) {
    CLI::App app("Development host for the em_shutdown module", "volad-dev");
    app.require_subcommand(1);
    app.set_version_flag("--version", em::kVersion);
    SandboxCommand sandbox;
    RehearsalOptions rehearsal;
    MessagesCommand messages;
    ProfileCommand profile;
    const CLI::App* sandboxCommand = addSandboxCommand(app, sandbox);
    static_cast<void>(addRehearseCommand(app, rehearsal));
    const CLI::App* messagesCommand = addMessagesCommand(app, messages);
    const CLI::App* profileCommand = addProfileCommand(app, profile);
    RegistryCommand registry;
    const CLI::App* registryCommand = addRegistryCommand(app, registry);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kExitAsAsked : kExitUsage;
    }
    if (sandboxCommand->parsed()) {
        return runInSandbox(sandbox.options, sandbox.command);
    }
    if (messagesCommand->parsed()) {
        return runMessagesCommand(messages);
    }
    if (profileCommand->parsed()) {
        return runProfileCommand(profile);
    }
    if (registryCommand->parsed()) {
        return runRegistryCommand(registry);
    }
    return rehearsal.inside ? runRehearsal(rehearsal) : launchRehearsal(rehearsal);
}

} // namespace
} // namespace volad_dev

int main(int argc, char** argv) {
    try {
        return volad_dev::run(argc, argv);
    } catch (const std::exception& exception) {
        fmt::print(stderr, "volad-dev: {}\n", exception.what());
        return volad_dev::kExitOtherwise;
    }
}

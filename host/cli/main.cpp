// volad-dev, the development host: the tool's entry.
#include <cerrno>
#include <cstdio>
#include <exception>
#include <system_error>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "em_version.h"
#include "host/common/exit_code.h"
#include "host/common/visible_text.h"
#include "host/files/check_command.h"
#include "host/files/messages_command.h"
#include "host/files/profile_command.h"
#include "host/files/registry_command.h"
#include "host/rehearsal/rehearsal.h"
#include "host/rehearsal/rehearsal_launch.h"
#include "host/rehearsal/rehearse_command.h"
#include "host/sandbox/sandbox.h"
#include "host/sandbox/sandbox_command.h"

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
    CheckCommand check;
    const CLI::App* checkCommand = addCheckCommand(app, check);
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
    if (checkCommand->parsed()) {
        return runCheckCommand(check);
    }
    return rehearsal.inside ? runRehearsal(rehearsal) : launchRehearsal(rehearsal);
}

} // namespace
} // namespace volad_dev

int main(int argc, char** argv) {
    try {
        const int code = volad_dev::run(argc, argv);
        if (std::fflush(stdout) != 0) {
            throw std::system_error(errno, std::generic_category(), "standard output");
        }
        return code;
    } catch (const std::exception& exception) {
        fmt::print(stderr, "volad-dev: {}\n", volad_dev::visibleText(exception.what()));
        return volad_dev::kExitOtherwise;
    }
}

// volad-dev, the development host: the tool's entry.
#include <array>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>

#include "em_version.h"
#include "host/common/command.h"
#include "host/common/failure.h"
#include "host/files/check_command.h"
#include "host/files/messages_command.h"
#include "host/files/profile_command.h"
#include "host/files/registry_command.h"
#include "host/rehearsal/rehearse_command.h"
#include "host/sandbox/sandbox_command.h"

namespace volad_dev {
namespace {

// In the order in which the help lists them.
constexpr std::array<AddCommand, 6> kCommands = {addSandboxCommand, addRehearseCommand, addMessagesCommand,
                                                 addProfileCommand, addRegistryCommand, addCheckCommand};

int run(int argc, char** argv) {
    CLI::App app("Development host for the em_shutdown module", "volad-dev");
    app.require_subcommand(1);
    app.set_version_flag("--version", em::kVersion);
    std::vector<Command> commands;
    commands.reserve(kCommands.size());
    for (const AddCommand add : kCommands) {
        commands.push_back(add(app));
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? kExitAsAsked : kExitUsage;
    }
    int code = kExitUsage;
    for (const Command& command : commands) {
        code = command.parser->parsed() ? command.run() : code;
    }
    if (std::fflush(stdout) != 0) {
        throw std::system_error(errno, std::generic_category(), "standard output");
    }
    return code;
}

} // namespace
} // namespace volad_dev

int main(int argc, char** argv) {
    try {
        return volad_dev::run(argc, argv);
    } catch (const volad_dev::Failure& failure) {
        volad_dev::printFailure(failure.what());
        return failure.code();
    } catch (const std::exception& exception) {
        volad_dev::printFailure(exception.what());
        return volad_dev::kExitOtherwise;
    }
}

// volad-dev, the development host: the tool's entry.
#include <array>
#include <cstdio>
#include <exception>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>

#include "em_version.h"
#include "host/common/command.h"
#include "host/common/failure.h"
#include "host/common/standard_streams.h"
#include "host/files/check_command.h"
#include "host/files/messages_command.h"
#include "host/files/profile_command.h"
#include "host/files/registry_command.h"
#include "host/rehearsal/inside_command.h"
#include "host/rehearsal/job_command.h"
#include "host/rehearsal/rehearse_command.h"
#include "host/sandbox/sandbox_command.h"

namespace volad_dev {
namespace {

// In the order in which the help lists them.
constexpr std::array<AddCommand, 8> kCommands = {addRehearseCommand, addJobCommand,      addSandboxCommand,
                                                 addInsideCommand,   addMessagesCommand, addProfileCommand,
                                                 addRegistryCommand, addCheckCommand};

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
    for (const Command& command : commands) {
        if (command.parser->parsed()) {
            if (!command.startsPrograms) {
                ignoreBrokenPipes();
            }
            return command.run();
        }
    }
    return kExitUsage;
}

} // namespace
} // namespace volad_dev

int main(int argc, char** argv) {
    using namespace volad_dev;
    occupyStandardDescriptors();
    int code = kExitOtherwise;
    int outputError = 0;
    try {
        code = run(argc, argv);
    } catch (const Failure& failure) {
        printFailure(failure.what());
        code = failure.code();
    } catch (const std::system_error& error) {
        if (std::ferror(stdout) != 0) {
            outputError = error.code().value();
        } else {
            printFailure(error.what());
        }
    } catch (const std::exception& exception) {
        printFailure(exception.what());
    }
    return flushStandardOutput(outputError) ? code : kExitOtherwise;
}

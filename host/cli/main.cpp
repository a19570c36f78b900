// volad-dev, the development host: the tool's entry.
#include <algorithm>
#include <array>
#include <cstdio>
#include <exception>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <CLI/CLI.hpp>

#include "em_version.h"
#include "host/check/check_command.h"
#include "host/cli/command_line.h"
#include "host/cli/command_tree.h"
#include "host/cli/help.h"
#include "host/common/command.h"
#include "host/common/failure.h"
#include "host/common/standard_streams.h"
#include "host/drive/drive_command.h"
#include "host/drive/inside_drive_command.h"
#include "host/files/messages_command.h"
#include "host/files/profile_command.h"
#include "host/files/registry_command.h"
#include "host/launch/job_command.h"
#include "host/launch/rehearse_command.h"
#include "host/picture/timeline_command.h"
#include "host/rehearsal/inside_command.h"
#include "host/sandbox/sandbox_command.h"
#include "host/story/explain_command.h"

namespace volad_dev {
namespace {

// In the order in which the help lists them.
constexpr std::array<AddCommand, 13> kCommands = {
    addRehearseCommand,    addJobCommand,      addDriveCommand,   addSandboxCommand,  addInsideCommand,
    addInsideDriveCommand, addMessagesCommand, addProfileCommand, addRegistryCommand, addCheckCommand,
    addExplainCommand,     addTimelineCommand, addTreeCommand};

void parse(CLI::App& app, std::vector<std::string> words) {
    std::reverse(words.begin(), words.end()); // as the parser takes them
    try {
        app.parse(std::move(words));
    } catch (const CLI::ParseError& error) {
        throw Failure(error.what(), kExitUsage);
    }
}

int run(int argc, char** argv) {
    CLI::App app("development host for the em_shutdown module", "volad-dev");
    app.set_help_flag("-h,--help", "show help; behind a verb, that of the verb");
    app.set_version_flag("--version", em::kVersion, "show the version");
    std::vector<Command> commands;
    commands.reserve(kCommands.size());
    for (const AddCommand add : kCommands) {
        commands.push_back(add(app));
    }
    const CommandLine line = readCommandLine(app, {argv + std::min(argc, 1), argv + argc});
    if (line.asks != CommandLine::Asks::Work) {
        ignoreBrokenPipes();
        printWhole(line.asks == CommandLine::Asks::Help ? helpText(*line.verb)
                                                        : std::string(em::kVersion) + '\n');
        return kExitAsAsked;
    }
    parse(app, line.words);
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

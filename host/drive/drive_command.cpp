#include "host/drive/drive_command.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "host/common/failure.h"
#include "host/common/option_checks.h"
#include "host/common/standard_streams.h"
#include "host/drive/drive_launch.h"
#include "host/drive/script_verbs.h"
#include "host/rehearsal/request_options.h"
#include "host/sandbox/sandbox_command.h"

namespace volad_dev {
namespace {

constexpr int64_t kLongest = 86'400; // seconds

struct DriveCommand {
    DriveOptions options;
    SandboxOptions sandbox;
    bool verbs = false;
};

std::string scriptFault(const std::string& script) {
    std::error_code ignored; // what cannot be looked at is not there for this tool
    const std::filesystem::file_status status = std::filesystem::status(script, ignored);
    if (script == "-") {
        return "";
    }
    return !std::filesystem::exists(status)        ? fmt::format("there is no script \"{}\"", script)
           : std::filesystem::is_directory(status) ? fmt::format("\"{}\" is no script", script)
                                                   : "";
}

template <class Rows>
std::string listed(const Rows& rows) {
    std::string text;
    for (const auto& row : rows) {
        text += fmt::format("  {:<34} {}\n", syntaxOf(row), row.meaning);
    }
    return text;
}

int run(const DriveCommand& command) {
    if (command.verbs && !command.options.script.empty()) {
        throw Failure("--verbs goes without a script", kExitUsage);
    }
    if (command.verbs) {
        ignoreBrokenPipes();
        printWhole("One verb a line; \"#\" begins a comment.\n" + listed(kVerbs) + "CONDITION is\n" +
                   listed(kSeen));
        return kExitAsAsked;
    }
    if (command.options.script.empty()) {
        throw Failure("drive needs a script, or - for standard input; see volad-dev drive --help",
                      kExitUsage);
    }
    return launchDrive(command.options, command.sandbox);
}

} // namespace

Command addDriveCommand(CLI::App& app) {
    const auto command = std::make_shared<DriveCommand>();
    DriveOptions& options = command->options;
    CLI::App* const drive = app.add_subcommand("drive", "be the module's host by a script, in a sandbox");
    refuse(drive->add_option("script", options.script, "lines of verbs; - reads them from standard input"),
           scriptFault)
        ->type_name("FILE");
    drive->add_flag("--verbs", command->verbs, "list what a script may say");
    addTraceOption(*drive, options.trace, "show messages, and the trace of this level, 0 to 5");
    addNumber(*drive, "--limit", options.limit, 1, kLongest, "seconds that all of it may take");
    addFileOptions(*drive, options.module, options.settings, options.messages);
    addSandboxOptions(*drive, command->sandbox);
    return {drive, [command] { return run(*command); }};
}

} // namespace volad_dev

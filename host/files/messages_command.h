// `volad-dev messages`: the host's message file from the command line, found and read as the module does.
#pragma once

#include <cstdint>
#include <string>

#include <CLI/App.hpp>

namespace volad_dev {

struct MessagesCommand {
    enum class Action { LookUp, List, Check };
    Action action = Action::LookUp;
    std::string code;
    std::string field = "Summary";
    std::string language = "en";
    int32_t index = 0;
    std::string file; // to be checked
};

// Adds the subcommand; what it parses lands in `target`, which must outlive the parsing.
CLI::App* addMessagesCommand(CLI::App& app, MessagesCommand& target);

// Returns the exit code; a failure is a line on standard error.
int runMessagesCommand(const MessagesCommand& command);

} // namespace volad_dev

// `volad-dev profile`: profile files from the command line, by the module's own two calls.
#pragma once

#include <optional>
#include <string>

#include <CLI/App.hpp>

namespace volad_dev {

struct ProfileCommand {
    enum class Action { Get, Set, Delete, List };
    Action action = Action::Get;
    std::string file;
    std::optional<std::string> section;
    std::optional<std::string> key;
    std::string value;
    std::optional<std::string> defaultText;
};

// Adds the subcommand; what it parses lands in `target`, which must outlive the parsing.
CLI::App* addProfileCommand(CLI::App& app, ProfileCommand& target);

// Returns the exit code; a failure is one line on standard error.
int runProfileCommand(const ProfileCommand& command);

} // namespace volad_dev

// `volad-dev registry`: works on the registry store's files with the store's own code.
#pragma once

#include <optional>
#include <string>

#include <CLI/App.hpp>

namespace volad_dev {

struct RegistryCommand {
    std::string directory; // empty: the fixed one
    bool json = false;
    bool raw = false; // expandable text as it is stored
    bool yes = false; // a root key, too, may be deleted
    std::string verb, path, type, value, file;
    std::optional<std::string> name; // an empty one is a name, too
};

// Adds the subcommand; what it parses lands in `target`, which must outlive the parsing.
CLI::App* addRegistryCommand(CLI::App& app, RegistryCommand& target);

// Returns the tool's exit code: 1, with one line on standard error, when something is not there or refused.
// What changes the store locks it before it reads, so that commands that run at once lose nothing of one
// another.
int runRegistryCommand(const RegistryCommand& command);

} // namespace volad_dev

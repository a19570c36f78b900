// A verb of the tool, as the command line needs to know it.
#pragma once

#include <functional>

#include <CLI/App.hpp>

namespace volad_dev {

struct Command {
    const CLI::App* parser;     // tells after parsing whether the verb was given
    std::function<int()> run;   // returns the exit code; holds what the parser wrote. Throws Failure.
    bool startsPrograms = true; // they must inherit no ignored SIGPIPE
};

// Adds the verb to the tool's command line.
using AddCommand = Command (*)(CLI::App&);

} // namespace volad_dev

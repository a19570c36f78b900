// Reads the command line before the parser does, for the sake of its errors: each is a sentence that names
// what was meant, as far as that can be told. What is left to the parser are the values.
//
// The words of one verb: options and arguments in any order; "--" ends the options. So does the first
// argument of a verb that takes any number of them (a command with options of its own).
#pragma once

#include <string>
#include <vector>

#include <CLI/App.hpp>

namespace volad_dev {

struct CommandLine {
    enum class Asks { Work, Help, Version };
    Asks asks = Asks::Work;
    CLI::App* verb; // as deep as it was named: whose help is asked for
    // The same in one order, for the parser: verbs and options, then "--" and the arguments.
    std::vector<std::string> words;
};

// Tells the parser how many arguments there are where it is any number. Throws Failure with kExitUsage.
[[nodiscard]] CommandLine readCommandLine(CLI::App& tool, const std::vector<std::string>& words);

} // namespace volad_dev

// The help of a verb, or of the tool: fits a screen of 24 lines of 80 columns as long as its texts are short.
#pragma once

#include <string>

#include <CLI/App.hpp>

namespace volad_dev {

// "volad-dev registry get [OPTIONS] PATH NAME".
[[nodiscard]] std::string usageOf(const CLI::App& verb);

struct HelpEntry {
    std::string name; // "--maintenance on|off|missing"
    std::string description;
};

// Of an option or argument; default and repeatability stand in the description.
[[nodiscard]] HelpEntry helpEntryOf(const CLI::Option& option);

// The usage, the description, and a line each for arguments, verbs and options; values, choices and defaults
// stand with them. An argument without a description stands in the usage only.
[[nodiscard]] std::string helpText(const CLI::App& verb);

} // namespace volad_dev

#include "host/cli/help.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "host/cli/verbs.h"

namespace volad_dev {
namespace {

constexpr size_t kColumns = 80;
constexpr size_t kLines = 23;      // of 24, one is the shell's
constexpr size_t kWidestName = 30; // a wider one has its description behind it or on the next line
constexpr size_t kIndent = 2;

bool hasChoices(const CLI::Option& option) {
    return option.get_type_name().find('|') != std::string::npos;
}

std::string usageOf(const CLI::Option& argument) {
    const bool unlisted = argument.get_description().empty() && hasChoices(argument);
    const std::string name =
        (unlisted ? argument.get_type_name() : argument.get_name(true)) + (takesMany(argument) ? "..." : "");
    return argument.get_required() ? name : "[" + name + "]";
}

} // namespace

std::string usageOf(const CLI::App& verb) {
    std::string usage = commandOf(verb);
    const std::vector<const CLI::Option*> options = optionsOf(verb);
    usage += options.size() > 1 ? " [OPTIONS]" : ""; // one is --help
    usage += verbsOf(verb).empty() ? "" : " VERB ...";
    for (const CLI::Option* argument : argumentsOf(verb)) {
        usage += (takesMany(*argument) ? " [--] " : " ") + usageOf(*argument);
    }
    return usage;
}

HelpEntry helpEntryOf(const CLI::Option& option) {
    HelpEntry entry{option.get_positional() ? option.get_name(true) : option.get_name(false, true),
                    option.get_description()};
    std::replace(entry.name.begin(), entry.name.end(), ',', ' ');
    if (takesValue(option) && (!option.get_positional() || hasChoices(option))) {
        entry.name += " " + option.get_type_name();
    }
    if (!option.get_default_str().empty()) {
        entry.description += fmt::format(" (default: {})", option.get_default_str());
    }
    if (takesMany(option) && !option.get_positional()) {
        entry.description += " (repeatable)";
    }
    return entry;
}

namespace {

std::vector<HelpEntry> entriesOf(const CLI::App& verb) {
    std::vector<HelpEntry> entries;
    for (const CLI::App* below : verbsOf(verb)) {
        entries.push_back({below->get_name(), below->get_description()});
    }
    for (const CLI::Option* argument : argumentsOf(verb)) {
        if (!argument->get_description().empty()) {
            entries.push_back(helpEntryOf(*argument));
        }
    }
    for (const CLI::Option* option : optionsOf(verb)) {
        // Whoever reads the help of a verb has found that option.
        const bool help = option->check_lname("help");
        if (!help || verb.get_parent() == nullptr) {
            entries.push_back(helpEntryOf(*option));
        }
    }
    return entries;
}

// The words of a text behind `name`, in lines that begin with so many blanks.
void addWrapped(std::vector<std::string>& lines, const std::string& name, size_t column,
                std::string_view text) {
    std::string line = name;
    const bool tooWide = !name.empty() && name.size() + kIndent > column;
    if (tooWide && name.size() + kIndent + text.size() <= kColumns) {
        column = name.size() + kIndent;
    } else if (tooWide || text.empty()) {
        lines.push_back(line);
        line.clear();
    }
    for (bool first = true; !text.empty(); first = false) {
        const std::string_view word = text.substr(0, text.find(' '));
        text.remove_prefix(std::min(word.size() + 1, text.size()));
        if (!first && line.size() + 1 + word.size() > kColumns) {
            lines.push_back(line);
            line.clear();
        }
        line.append(line.size() > column ? 1 : column - line.size(), ' ');
        line += word;
    }
    if (!line.empty()) {
        lines.push_back(line);
    }
}

} // namespace

std::string helpText(const CLI::App& verb) {
    const std::vector<HelpEntry> entries = entriesOf(verb);
    size_t widest = 0;
    for (const HelpEntry& entry : entries) {
        widest = std::max(widest, entry.name.size() <= kWidestName ? entry.name.size() : 0);
    }
    std::vector<std::string> lines;
    addWrapped(lines, "", 0, "Usage: " + usageOf(verb));
    addWrapped(lines, "", 0, verb.get_description());
    const auto blank = static_cast<std::ptrdiff_t>(lines.size());
    for (const HelpEntry& entry : entries) {
        addWrapped(lines, std::string(kIndent, ' ') + entry.name, widest + 2 * kIndent, entry.description);
    }
    if (lines.size() < kLines) {
        lines.insert(lines.begin() + blank, "");
    }
    return fmt::format("{}\n", fmt::join(lines, "\n"));
}

} // namespace volad_dev

#include "host/cli/verbs.h"

namespace volad_dev {

std::vector<const CLI::App*> verbsOf(const CLI::App& verb) {
    return verb.get_subcommands([](const CLI::App* below) { return !below->get_group().empty(); });
}

std::vector<const CLI::Option*> argumentsOf(const CLI::App& verb) {
    return verb.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

std::vector<const CLI::Option*> optionsOf(const CLI::App& verb) {
    std::vector<const CLI::Option*> options;
    for (const CLI::App* holder = &verb; holder != nullptr; holder = optionsAbove(*holder)) {
        for (const CLI::Option* option : holder->get_options()) {
            const bool otherHelp = holder != &verb && option == holder->get_help_ptr();
            if (option->nonpositional() && !option->get_group().empty() && !otherHelp) {
                options.push_back(option);
            }
        }
    }
    return options;
}

const CLI::App* optionsAbove(const CLI::App& verb) {
    return verb.get_fallthrough() && verb.get_parent()->get_parent() != nullptr ? verb.get_parent() : nullptr;
}

bool takesValue(const CLI::Option& option) {
    return option.get_items_expected_max() > 0;
}

bool takesMany(const CLI::Option& option) {
    return option.get_items_expected_max() > 1;
}

std::string commandOf(const CLI::App& verb) {
    return verb.get_parent() == nullptr ? verb.get_name()
                                        : commandOf(*verb.get_parent()) + " " + verb.get_name();
}

std::string nameOf(const CLI::App& verb) {
    const CLI::App* const parent = verb.get_parent();
    return parent == nullptr || parent->get_parent() == nullptr ? verb.get_name()
                                                                : nameOf(*parent) + " " + verb.get_name();
}

} // namespace volad_dev

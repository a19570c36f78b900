// An option that takes one of several names, and nothing in their stead.
#pragma once

#include <span>
#include <string>
#include <type_traits>
#include <vector>

#include "host/common/option_checks.h"

namespace volad_dev {

template <class Value>
struct Choice {
    const char* name;
    Value value;
};

// Writes the value of the name that is given; the help shows the name of what the target holds as the
// default, if it has one. The choices are copied. Refuses with a sentence (option_checks.h).
template <class Value>
CLI::Option* addChoice(CLI::App& app, const char* option, Value& target,
                       std::type_identity_t<std::span<const Choice<Value>>> choices,
                       const char* description) {
    std::vector<std::string> names;
    std::string current;
    for (const Choice<Value>& choice : choices) {
        names.emplace_back(choice.name);
        current = choice.value == target ? choice.name : current;
    }
    const std::vector<Choice<Value>> kept(choices.begin(), choices.end());
    CLI::Option* const added = app.add_option_function<std::string>(
        option,
        [&target, kept](const std::string& given) {
            for (const Choice<Value>& choice : kept) {
                target = given == choice.name ? choice.value : target;
            }
        },
        description);
    return mustBeOneOf(added->default_str(current), names);
}

} // namespace volad_dev

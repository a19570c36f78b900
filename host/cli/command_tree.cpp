#include "host/cli/command_tree.h"

#include <algorithm>
#include <string>
#include <vector>

#include "host/cli/help.h"
#include "host/cli/verbs.h"
#include "host/common/exit_code.h"
#include "host/common/json_writer.h"
#include "host/common/option_checks.h"
#include "host/common/standard_streams.h"

namespace volad_dev {
namespace {

constexpr const char* kTypeOfTexts = "TEXT"; // the parser's own for what was given none

// What stands for the value: FILE, DIR, PATH, COMMAND, or what nobody can complete. An argument without a
// type is of the type that it is named after.
std::string typeOf(const CLI::Option& option) {
    std::string type = option.get_type_name();
    if (option.get_positional() && type == kTypeOfTexts) {
        type = option.get_name(true);
        std::transform(type.begin(), type.end(), type.begin(), [](char letter) {
            return letter >= 'a' && letter <= 'z' ? static_cast<char>(letter - 'a' + 'A') : letter;
        });
    }
    return type;
}

void addNames(JsonWriter& json, const char* name, const std::vector<std::string>& names, const char* dashes) {
    json.beginArray(name);
    for (const std::string& each : names) {
        json.element(dashes + each);
    }
    json.endArray();
}

void addOption(JsonWriter& json, const CLI::Option& option) {
    const HelpEntry entry = helpEntryOf(option);
    json.beginObject();
    json.member("name", entry.name);
    json.member("description", entry.description);
    addNames(json, "short", option.get_snames(), "-");
    addNames(json, "long", option.get_lnames(), "--");
    json.member("takesValue", takesValue(option));
    json.member("takesMany", takesMany(option));
    json.member("type", typeOf(option));
    addNames(json, "choices", choicesOf(option), "");
    json.endObject();
}

void addVerb(JsonWriter& json, const CLI::App& verb) {
    json.beginObject();
    json.member("name", verb.get_parent() == nullptr ? std::string() : nameOf(verb));
    json.member("usage", usageOf(verb));
    json.member("description", verb.get_description());
    json.beginArray("arguments");
    for (const CLI::Option* argument : argumentsOf(verb)) {
        addOption(json, *argument);
    }
    json.endArray();
    json.beginArray("options");
    for (const CLI::Option* option : optionsOf(verb)) {
        addOption(json, *option);
    }
    json.endArray();
    json.beginArray("verbs");
    for (const CLI::App* below : verbsOf(verb)) {
        addVerb(json, *below);
    }
    json.endArray();
    json.endObject();
}

} // namespace

Command addTreeCommand(CLI::App& app) {
    const CLI::App* const tree = app.add_subcommand("command-tree")->group("");
    return {tree,
            [&app] {
                JsonWriter json;
                addVerb(json, app);
                printWhole(json.document());
                return kExitAsAsked;
            },
            false};
}

} // namespace volad_dev

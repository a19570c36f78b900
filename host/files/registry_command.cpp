#include "host/files/registry_command.h"

#include <array>
#include <cstring>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include "base/file_content.h"
#include "host/common/choice_option.h"
#include "host/common/failure.h"
#include "host/common/json_output.h"
#include "host/common/json_writer.h"
#include "host/common/standard_streams.h"
#include "host/common/visible_text.h"
#include "host/files/registry_check.h"
#include "host/files/registry_hold.h"
#include "host/files/registry_text.h"
#include "platform/registry/registry.h"
#include "platform/registry/registry_path.h"
#include "platform/registry/registry_reader.h"
#include "platform/registry/registry_rules.h"
#include "platform/registry/registry_state.h"
#include "platform/registry/registry_writer.h"
#include "trace/trace.h"

namespace volad_dev {
namespace {

struct Verb;

struct RegistryCommand {
    const Verb* verb = nullptr;
    std::string directory; // empty: the fixed one
    std::string json;      // file, empty for none
    bool raw = false;      // expandable text as it is stored
    bool yes = false;      // a root key, too, may be deleted
    int32_t type = 0;
    std::string path, value, file;
    std::optional<std::string> name; // an empty one is a name, too
};

using em::CRegistry;

[[noreturn]] void fail(const std::string& text) {
    throw Failure(text);
}

std::string checkedPath(const std::string& path) {
    if (!em::beginsWithRoot(path)) {
        fail(fmt::format("\"{}\" does not begin with a root name such as {}", path, em::kPredefinedRoots[0]));
    }
    return em::withUpperCaseRoot(path);
}

void openKey(CRegistry& key, const std::string& path) {
    if (key.Open(checkedPath(path).c_str()) != em::REG_SUCCESS) {
        fail(fmt::format("key \"{}\" is not there", path));
    }
}

std::string lineOf(const em::RegistryItem& item) {
    return item.type == em::REG_TYPE_KEY
               ? fmt::format("[{}]", visibleText(item.name))
               : fmt::format("{} {} {}", visibleText(item.name), typeName(item.type),
                             visibleText(shownValue(item.type, item.data)));
}

int finish(JsonWriter& written, JsonOutput& json) {
    written.endObject();
    if (json.asked()) {
        json.write(written.document());
    }
    return kExitAsAsked;
}

int list(CRegistry& key, const RegistryCommand& command, JsonOutput& json) {
    if (command.path.empty()) {
        static_cast<void>(key.Open(nullptr));
    } else {
        openKey(key, command.path);
    }
    JsonWriter written;
    written.beginDocument();
    written.member("path", command.path);
    written.beginArray("items");
    for (const em::RegistryItem& item : key.Node()->Items()) {
        written.beginObject();
        written.member("name", item.name);
        writeJsonValue(written, item.type, item.data);
        written.endObject();
        if (!json.takesStandardOutput()) {
            fmt::print("{}\n", lineOf(item));
        }
    }
    written.endArray();
    return finish(written, json);
}

int get(CRegistry& key, const RegistryCommand& command, JsonOutput& json) {
    openKey(key, command.path);
    key.SetExpand(!command.raw);
    const std::string name = command.name.value_or("");
    if (key.GetValue(name.c_str()) != em::REG_SUCCESS) {
        fail(fmt::format("value \"{}\" of \"{}\" is not there", name, command.path));
    }
    if (!json.takesStandardOutput()) {
        const std::string shown = shownValue(key.ValueType(), key.Data());
        fmt::print("{}\n", command.raw ? shown : visibleText(shown));
    }
    JsonWriter written;
    written.beginDocument();
    written.member("path", command.path);
    written.member("name", name);
    writeJsonValue(written, key.ValueType(), key.Data());
    return finish(written, json);
}

// Behind the refusals, so that a refused command changes nothing.
void saveNow(const std::string& directory) {
    const em::RegistrySaveOutcome outcome = em::registryState.value.saveTree(true);
    if (outcome.failedAt != nullptr) {
        fail(fmt::format("{}/{} could not be saved: {}: {}", directory,
                         outcome.notOpened ? em::kRegistryTemporary : em::kRegistryMain, outcome.failedAt,
                         std::generic_category().message(outcome.error)));
    }
}

int set(CRegistry& key, const RegistryCommand& command, JsonOutput& /*json*/) {
    const std::string path = checkedPath(command.path);
    const std::string name = command.name.value_or("");
    const std::string data = valueData(command.type, command.value);
    if (const char* const refusal = em::refusalOfValue(name, command.type, data)) {
        fail(fmt::format("value \"{}\" is refused: {}", name, refusal));
    }
    if (key.CreateKey(nullptr, path.c_str()) != em::REG_SUCCESS) {
        fail(fmt::format("key \"{}\" is refused: {}", command.path, em::textOr(key.Refusal(), "no memory")));
    }
    // Asked beforehand: an attempt to set it counts as a change.
    if (key.Node()->SubKey(name.c_str())) {
        fail(fmt::format("value \"{}\" is refused: a key has that name", name));
    }
    if (key.SetValue(name.c_str(), data.data(), static_cast<uint32_t>(data.size()), command.type) == 0) {
        fail(fmt::format("value \"{}\" is refused: {}", name, em::textOr(key.Refusal(), "no memory")));
    }
    return kExitAsAsked;
}

void removeKey(CRegistry& key, const std::string& path, bool yes) {
    std::string parent;
    std::string last;
    const char separator = path.find('\\') != std::string::npos ? '\\' : '/';
    em::RegistryPath components(path);
    while (const auto component = components.next()) {
        if (!last.empty()) {
            parent += last + separator;
        }
        last = *component;
    }
    if (parent.empty() && !yes) {
        fail(fmt::format("\"{}\" is a root key: to delete it with all that lies below wants --yes", path));
    }
    if (key.Open(parent.c_str()) != em::REG_SUCCESS || key.DeleteKey(last.c_str()) != em::REG_SUCCESS) {
        fail(fmt::format("key \"{}\" is not there", path));
    }
}

int remove(CRegistry& key, const RegistryCommand& command, JsonOutput& /*json*/) {
    if (!command.name) {
        removeKey(key, checkedPath(command.path), command.yes);
        return kExitAsAsked;
    }
    openKey(key, command.path);
    // Asked beforehand, as in set.
    if (key.GetValue(command.name->c_str()) != em::REG_SUCCESS ||
        key.DeleteValue(command.name->c_str()) != em::REG_SUCCESS) {
        fail(fmt::format("value \"{}\" of \"{}\" is not there", *command.name, command.path));
    }
    return kExitAsAsked;
}

int exportTree(CRegistry& /*key*/, const RegistryCommand& /*command*/, JsonOutput& /*json*/) {
    const em::GrowingText written = em::writeRegistry(em::registryState.value.root());
    printWhole(written.view());
    return kExitAsAsked;
}

// Keys of the file replace those of the same name at the root, as a set-up would.
int importFile(CRegistry& /*key*/, const RegistryCommand& command, JsonOutput& /*json*/) {
    em::FileContent content;
    const int error = em::readRegularFile(command.file.c_str(), em::kRegistryLargestFile, 0, content);
    if (error != 0) {
        fail(fmt::format("{}: read: {}", command.file, std::generic_category().message(error)));
    }
    const std::vector<Finding> findings = checkRegistryFile(command.file, command.file);
    if (!findings.empty()) {
        fail(findingText(findings.front()) + "; nothing was imported");
    }
    em::CRegistryNode read(0);
    static_cast<void>(em::readRegistry({content.data.get(), content.size}, read, [](const auto&) {}));
    if (!em::registryState.value.root().Adopt(read)) {
        fail("no memory");
    }
    em::registryState.value.markDirty();
    return kExitAsAsked;
}

int check(CRegistry& /*key*/, const RegistryCommand& command, JsonOutput& json) {
    return printFindings(checkRegistryFiles(registryDirectory(command.directory)), json);
}

// The tree then is a fall-back's or empty, which would be shown as if it were the store's.
void refuseUnreadable(const std::string& directory) {
    const em::RegistryFailure failure = em::registryState.value.mainUnreadable();
    if (failure.failedAt != nullptr) {
        fail(fmt::format("{}/{} could not be read: {}: {}", directory, em::kRegistryMain, failure.failedAt,
                         std::generic_category().message(failure.error)));
    }
}

struct Verb {
    const char* name;
    const char* help;
    int (*run)(CRegistry&, const RegistryCommand&, JsonOutput&);
    bool changes = false;
    bool shows = false;
};
constexpr std::array<Verb, 7> kVerbs{{
    {"list", "show what a key holds", list, false, true},
    {"get", "print one value", get, false, true},
    {"set", "set a value; makes missing keys", set, true},
    {"delete", "delete a value, or a key with all below it", remove, true},
    {"export", "print the whole tree in the file format", exportTree, false, true},
    {"import", "let a file's roots take the place of those of the same name", importFile, true},
    {"check", "name lines that would be skipped or cut, and what would block a save", check},
}};

int runRegistryCommand(const RegistryCommand& command) {
    JsonOutput json(command.json);
    const std::string directory = registryDirectory(command.directory);
    const Verb& verb = *command.verb;
    std::optional<RegistryHold> hold; // before the tree is read, and until the last handle has ended
    if (verb.changes) {
        hold.emplace(directory);
    }
    CRegistry::SetupTree(true, directory.c_str());
    if (verb.shows) {
        refuseUnreadable(directory);
    }
    CRegistry key;
    const int code = verb.run(key, command, json);
    if (verb.changes) {
        saveNow(directory);
    }
    return code;
}

// A value's type by its name.
std::vector<Choice<int32_t>> typeChoices() {
    std::vector<Choice<int32_t>> choices;
    choices.reserve(em::kRegistryValueTypes.size());
    for (const em::RegistryValueType& type : em::kRegistryValueTypes) {
        choices.push_back({type.name.data(), type.type}); // a literal's
    }
    return choices;
}

} // namespace

Command addRegistryCommand(CLI::App& app) {
    const auto chosen = std::make_shared<RegistryCommand>();
    RegistryCommand& target = *chosen;
    CLI::App* const registry = app.add_subcommand("registry", "read and change the registry store");
    registry->fallthrough();
    mustExist(registry->add_option("--dir", target.directory, "the store's directory"), Existing::Directory);
    for (const Verb& verb : kVerbs) {
        CLI::App* const sub = registry->add_subcommand(verb.name, verb.help);
        sub->callback([&target, &verb] { target.verb = &verb; });
    }
    constexpr const char* kKey = "KEY"; // no path of a file, so that the shell completes none
    registry->get_subcommand("list")
        ->add_option("PATH", target.path, "begins with a root's name")
        ->type_name(kKey);
    for (const char* verb : {"get", "set", "delete"}) {
        CLI::App* const sub = registry->get_subcommand(verb);
        sub->add_option("PATH", target.path, "begins with a root's name")->type_name(kKey)->required();
        sub->add_option("NAME", target.name, "the value's name")->required(std::strcmp(verb, "delete") != 0);
    }
    registry->get_subcommand("get")->add_flag("--raw", target.raw, "expandable text as it is stored");
    registry->get_subcommand("delete")->add_flag("--yes", target.yes, "delete a root key, too");
    CLI::App* const set = registry->get_subcommand("set");
    addChoice(*set, "TYPE", target.type, typeChoices(), "the value's type")->required();
    set->add_option("VALUE", target.value, "dword: decimal or 0x..., binary: 0a ff ...")->required();
    registry->get_subcommand("import")->add_option("FILE", target.file, "as export prints it")->required();
    for (const char* verb : {"list", "get", "check"}) {
        addJsonOption(*registry->get_subcommand(verb), target.json);
    }
    return {registry, [chosen] { return runRegistryCommand(*chosen); }, false};
}

} // namespace volad_dev

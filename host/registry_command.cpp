#include "host/registry_command.h"

#include <array>
#include <charconv>
#include <cstring>
#include <stdexcept>
#include <system_error>
#include <vector>

#include <CLI/CLI.hpp>
#include <fmt/format.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "host/exit_code.h"
#include "host/registry_check.h"
#include "platform/base/file_content.h"
#include "platform/base/system.h"
#include "platform/registry.h"
#include "platform/registry_path.h"
#include "platform/registry_reader.h"
#include "platform/registry_state.h"
#include "platform/registry_value_text.h"
#include "platform/registry_writer.h"

namespace volad_dev {
namespace {

using em::CRegistry;

// One line on standard error, exit code 1.
[[noreturn]] void fail(const std::string& text) {
    throw std::runtime_error(text);
}

std::string jsonText(const std::string& text) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    return buffer.GetString();
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

std::string hex(std::string_view bytes) {
    std::string text;
    em::appendHex(text, bytes);
    if (!text.empty()) {
        text.pop_back();
    }
    return text;
}

std::string typeName(int32_t type) {
    const em::RegistryValueType* const known = em::valueTypeOf(type);
    return std::string(known != nullptr ? known->name : "key");
}

// The value as people write it.
std::string shown(int32_t type, const std::string& data) {
    if (type == em::REG_TYPE_BINARY) {
        return hex(data);
    }
    if (type != em::REG_TYPE_DWORD) {
        return data;
    }
    int32_t number = 0;
    std::memcpy(&number, data.data(), sizeof number);
    return std::to_string(number);
}

std::string jsonItem(const em::RegistryItem& item) {
    if (item.type == em::REG_TYPE_KEY) {
        return fmt::format(R"({{"name":{},"type":"key"}})", jsonText(item.name));
    }
    const std::string value = shown(item.type, item.data);
    return fmt::format(R"({{"name":{},"type":"{}","value":{}}})", jsonText(item.name), typeName(item.type),
                       item.type == em::REG_TYPE_DWORD ? value : jsonText(value));
}

template <class Items, class Write>
void printJsonArray(const Items& items, Write&& write) {
    std::string text;
    for (const auto& item : items) {
        text += (text.empty() ? "" : ",") + write(item);
    }
    fmt::print("[{}]\n", text);
}

int list(const RegistryCommand& command) {
    CRegistry key;
    if (command.path.empty()) {
        static_cast<void>(key.Open(nullptr));
    } else {
        openKey(key, command.path);
    }
    const std::vector<em::RegistryItem> items = key.Node()->Items();
    if (command.json) {
        printJsonArray(items, jsonItem);
        return kExitAsAsked;
    }
    for (const em::RegistryItem& item : items) {
        if (item.type == em::REG_TYPE_KEY) {
            fmt::print("[{}]\n", item.name);
        } else {
            fmt::print("{} {} {}\n", item.name, typeName(item.type), shown(item.type, item.data));
        }
    }
    return kExitAsAsked;
}

int get(const RegistryCommand& command) {
    CRegistry key;
    openKey(key, command.path);
    key.SetExpand(!command.raw);
    if (key.GetValue(command.name.c_str()) != em::REG_SUCCESS) {
        fail(fmt::format("value \"{}\" of \"{}\" is not there", command.name, command.path));
    }
    if (command.json) {
        fmt::print("{}\n", jsonItem({command.name, key.ValueType(), key.Data()}));
    } else {
        fmt::print("{}\n", shown(key.ValueType(), key.Data()));
    }
    return kExitAsAsked;
}

std::string numberData(const std::string& text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char* const from = text.data() + (hexadecimal ? 2 : 0);
    const char* const end = text.data() + text.size();
    int64_t number = 0;
    const auto parsed = std::from_chars(from, end, number, hexadecimal ? 16 : 10);
    if (parsed.ec != std::errc() || parsed.ptr != end || number < INT32_MIN || number > UINT32_MAX) {
        fail(fmt::format("\"{}\" is no number of 32 bits", text));
    }
    const auto low = static_cast<uint32_t>(number);
    return {reinterpret_cast<const char*>(&low), sizeof low};
}

std::string blockData(const std::string& text) {
    const em::ParsedBlock counted = em::parseHex(text, nullptr);
    if (counted.endsEarly || counted.longNumber) {
        fail(fmt::format("\"{}\" is no row of hexadecimal bytes", text));
    }
    std::string data(counted.length, '\0');
    static_cast<void>(em::parseHex(text, reinterpret_cast<unsigned char*>(data.data())));
    return data;
}

void saveNow() {
    if (!CRegistry::SaveTree()) {
        fail("the registry could not be saved");
    }
}

int set(const RegistryCommand& command) {
    int32_t type = 0;
    for (const em::RegistryValueType& known : em::kRegistryValueTypes) {
        type = known.name == command.type ? known.type : type;
    }
    std::string data = command.value;
    if (type == em::REG_TYPE_BINARY) {
        data = blockData(command.value);
    } else if (type == em::REG_TYPE_DWORD) {
        data = numberData(command.value);
    }
    {
        CRegistry key;
        if (key.CreateKey(nullptr, checkedPath(command.path).c_str()) != em::REG_SUCCESS) {
            fail(fmt::format("key \"{}\" is refused", command.path));
        }
        if (key.SetValue(command.name.c_str(), data.data(), static_cast<uint32_t>(data.size()), type) == 0) {
            fail(fmt::format("value \"{}\" is refused", command.name));
        }
        saveNow();
    }
    return kExitAsAsked;
}

int remove(const RegistryCommand& command) {
    CRegistry key;
    const std::string path = checkedPath(command.path);
    if (!command.name.empty()) {
        openKey(key, command.path);
        if (key.DeleteValue(command.name.c_str()) != em::REG_SUCCESS) {
            fail(fmt::format("value \"{}\" of \"{}\" is not there", command.name, command.path));
        }
    } else {
        std::string parent;
        std::string last;
        const char separator = path.find('\\') != std::string::npos ? '\\' : '/';
        em::RegistryPath components(path);
        while (const auto component = components.Next()) {
            if (!last.empty()) {
                parent += last + separator;
            }
            last = *component;
        }
        if (key.Open(parent.c_str()) != em::REG_SUCCESS || key.DeleteKey(last.c_str()) != em::REG_SUCCESS) {
            fail(fmt::format("key \"{}\" is not there", command.path));
        }
    }
    saveNow();
    return kExitAsAsked;
}

int exportTree(const RegistryCommand& /*command*/) {
    CRegistry::SetupTree(false);
    const std::string text = em::writeRegistry(em::registryState.value.Root());
    return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() ? kExitAsAsked : kExitOtherwise;
}

// Keys of the file replace those of the same name at the root, as a set-up would.
int importFile(const RegistryCommand& command) {
    CRegistry::SetupTree(false);
    em::FileContent content;
    const int error = em::ReadRegularFile(command.file.c_str(), em::kRegistryLargestFile, 0, content);
    if (error != 0) {
        fail(fmt::format("{}: {}", command.file, std::generic_category().message(error)));
    }
    const std::vector<RegistryComplaint> complaints = checkRegistryFile(command.file);
    if (!complaints.empty()) {
        const RegistryComplaint& first = complaints.front();
        fail(fmt::format("{}:{}: {}; nothing was imported", first.file, first.line, first.reason));
    }
    em::CRegistryNode read(0);
    static_cast<void>(em::readRegistry({content.data.get(), content.size}, read, [](const auto&) {}));
    if (!em::registryState.value.Root().Adopt(read)) {
        fail("no memory");
    }
    em::registryState.value.MarkDirty();
    saveNow();
    return kExitAsAsked;
}

int check(const RegistryCommand& command) {
    const em::RegistryPaths paths(command.directory.empty() ? em::sys::paths::registryDirectory()
                                                            : command.directory);
    std::vector<RegistryComplaint> complaints;
    for (const std::string& path : {paths.main, paths.backup, paths.fallback}) {
        for (RegistryComplaint& complaint : checkRegistryFile(path)) {
            complaints.push_back(std::move(complaint));
        }
    }
    if (command.json) {
        printJsonArray(complaints, [](const RegistryComplaint& complaint) {
            return fmt::format(R"({{"file":{},"line":{},"reason":{}}})", jsonText(complaint.file),
                               complaint.line, jsonText(complaint.reason));
        });
    } else {
        for (const RegistryComplaint& complaint : complaints) {
            fmt::print("{}:{}: {}\n", complaint.file, complaint.line, complaint.reason);
        }
    }
    return complaints.empty() ? kExitAsAsked : kExitOtherwise;
}

struct Verb {
    const char* name;
    const char* help;
    int (*run)(const RegistryCommand&);
};
constexpr std::array<Verb, 7> kVerbs{{
    {"list", "Show what a key holds", list},
    {"get", "Print one value", get},
    {"set", "Set a value; makes missing keys", set},
    {"delete", "Delete a value, or a key with all below it", remove},
    {"export", "Print the whole tree in the file format", exportTree},
    {"import", "Take over the keys of a file", importFile},
    {"check", "Name each line that the reader would skip or cut", check},
}};

} // namespace

CLI::App* addRegistryCommand(CLI::App& app, RegistryCommand& target) {
    CLI::App* const registry = app.add_subcommand("registry", "Read and change the registry store");
    registry->require_subcommand(1);
    registry->fallthrough();
    registry->add_option("--dir", target.directory, "The store's directory");
    registry->add_flag("--json", target.json, "For programs");
    for (const Verb& verb : kVerbs) {
        CLI::App* const sub = registry->add_subcommand(verb.name, verb.help);
        sub->fallthrough();
        sub->callback([&target, name = verb.name] { target.verb = name; });
    }
    registry->get_subcommand("list")->add_option("PATH", target.path, "Begins with a root name");
    for (const char* verb : {"get", "set", "delete"}) {
        CLI::App* const sub = registry->get_subcommand(verb);
        sub->add_option("PATH", target.path, "Begins with a root name")->required();
        sub->add_option("NAME", target.name, "The value's name")->required(std::strcmp(verb, "delete") != 0);
    }
    registry->get_subcommand("get")->add_flag("--raw", target.raw, "Expandable text as it is stored");
    CLI::App* const set = registry->get_subcommand("set");
    set->add_option("TYPE", target.type)
        ->required()
        ->check(CLI::IsMember(std::vector<std::string>{"string", "expand", "binary", "dword"}));
    set->add_option("VALUE", target.value)->required();
    registry->get_subcommand("import")->add_option("FILE", target.file)->required();
    return registry;
}

int runRegistryCommand(const RegistryCommand& command) {
    CRegistry::SetupTree(true, command.directory.empty() ? nullptr : command.directory.c_str());
    for (const Verb& verb : kVerbs) {
        if (command.verb == verb.name) {
            return verb.run(command);
        }
    }
    return kExitUsage;
}

} // namespace volad_dev

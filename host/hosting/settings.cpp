#include "host/hosting/settings.h"

#include <filesystem>
#include <fstream>
#include <span>
#include <sstream>

#include <fmt/format.h>
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include "host/common/failure.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(const std::string& text) {
    throw Failure(text, kExitUsage);
}

using Json = rapidjson::Value;

// One key: what it takes, and the place of its value. `take` tells whether the value fits, `drop` makes it as
// if it had never been there.
struct Key {
    const char* name;
    const char* expected;
    bool (*take)(const Json& value, Settings& settings);
    void (*drop)(Settings& settings);
};

template <auto Member>
void dropMember(Settings& settings) {
    settings.*Member = Settings().*Member;
}

template <auto Member>
bool takeNumber(const Json& value, Settings& settings) {
    return value.IsUint() && (settings.*Member = value.GetUint(), true);
}
template <auto Member>
bool takeText(const Json& value, Settings& settings) {
    // Nobody could hand a NUL on.
    return value.IsString() &&
           std::string_view(value.GetString(), value.GetStringLength()).find('\0') ==
               std::string_view::npos &&
           (settings.*Member = value.GetString(), true);
}
bool takeHostKind(const Json& value, Settings& settings) {
    return value.IsInt() && (settings.hostKind = value.GetInt(), true);
}
bool takePowerSwitch(const Json& value, Settings& settings) {
    return value.IsBool() && (settings.powerSwitchNotifications = value.GetBool(), true);
}
template <size_t Day>
bool takeTime(const Json& value, Settings& settings) {
    if (value.IsString()) {
        settings.powerOffTimes[Day] = parseTimeOfDay(value.GetString());
    }
    return value.IsNull() || settings.powerOffTimes[Day].has_value();
}
template <size_t Day>
void dropTime(Settings& settings) {
    settings.powerOffTimes[Day].reset();
}
void dropJob(Settings& settings) {
    settings.jobName.reset();
    settings.jobDirectory.reset();
    settings.jobTimeout.reset();
}
bool isObject(const Json& value, Settings& /*settings*/) {
    return value.IsObject(); // its own keys are looked at next
}

constexpr const char* kNumber = "a number from 0 to 4294967295";
constexpr const char* kTime = "a time \"HH:MM\" or null";

template <auto Member>
constexpr Key numberKey(const char* name) {
    return {name, kNumber, takeNumber<Member>, dropMember<Member>};
}
template <auto Member>
constexpr Key textKey(const char* name) {
    return {name, "a text", takeText<Member>, dropMember<Member>};
}
template <size_t Day>
constexpr Key dayKey() {
    return {kDayNames[Day], kTime, takeTime<Day>, dropTime<Day>};
}

constexpr std::array kJobKeys = {textKey<&Settings::jobName>("name"),
                                 textKey<&Settings::jobDirectory>("directory"),
                                 numberKey<&Settings::jobTimeout>("timeout")};
constexpr std::array kDayKeys = {dayKey<0>(), dayKey<1>(), dayKey<2>(), dayKey<3>(),
                                 dayKey<4>(), dayKey<5>(), dayKey<6>()};
constexpr std::array kKeys = {
    numberKey<&Settings::cabinet>("cabinet"),
    Key{"hostKind", "a whole number", takeHostKind, dropMember<&Settings::hostKind>},
    numberKey<&Settings::shutdownDelay>("shutdownDelay"),
    numberKey<&Settings::forceDelay>("forceDelay"),
    Key{"job", "an object", isObject, dropJob},
    Key{"powerOffTimes", "an object", isObject, dropMember<&Settings::powerOffTimes>},
    Key{"powerSwitchNotifications", "true or false", takePowerSwitch,
        dropMember<&Settings::powerSwitchNotifications>}};

// The keys that are objects, with those inside.
struct Section {
    const char* name;
    std::span<const Key> keys;
};
constexpr std::array kSections = {Section{"job", kJobKeys}, Section{"powerOffTimes", kDayKeys}};

std::string namesOf(std::span<const Key> keys) {
    std::string names;
    for (const Key& key : keys) {
        names += names.empty() ? key.name : std::string(", ") + key.name;
    }
    return names;
}

const Key& findKey(std::span<const Key> keys, const std::string& name, const std::string& where,
                   const std::string& prefix) {
    for (const Key& key : keys) {
        if (name == key.name) {
            return key;
        }
    }
    fail(fmt::format("{}: unknown key \"{}{}\", expected one of {}", where, prefix, name, namesOf(keys)));
}

void take(const Key& key, const Json& value, const std::string& where, const std::string& prefix,
          Settings& settings) {
    if (!key.take(value, settings)) {
        fail(fmt::format("{}: \"{}{}\": expected {}", where, prefix, key.name, key.expected));
    }
}

void readMembers(const Json& object, std::span<const Key> keys, const std::string& where,
                 const std::string& prefix, Settings& settings) {
    for (const auto& member : object.GetObject()) {
        const std::string name = member.name.GetString();
        take(findKey(keys, name, where, prefix), member.value, where, prefix, settings);
    }
}

// The keys inside of one that is an object; the others have none.
void readSection(const std::string& name, const Json& object, const std::string& where, Settings& settings) {
    for (const Section& section : kSections) {
        if (name == section.name) {
            readMembers(object, section.keys, where, name + '.', settings);
        }
    }
}

struct NamedKey {
    const Key& key;
    std::string prefix;
};

// By a name with its section: "job.name".
NamedKey findNamed(const std::string& name, const std::string& where) {
    for (const Section& section : kSections) {
        const std::string prefix = section.name + std::string(".");
        if (name.starts_with(prefix)) {
            return {findKey(section.keys, name.substr(prefix.size()), where, prefix), prefix};
        }
    }
    return {findKey(kKeys, name, where, ""), ""};
}

void putHere(Settings& settings, const std::string& directory) {
    constexpr std::string_view kHere = "{here}";
    for (std::optional<std::string>* const text : {&settings.jobName, &settings.jobDirectory}) {
        for (size_t at = 0; *text && (at = (*text)->find(kHere, at)) != std::string::npos;
             at += directory.size()) {
            (*text)->replace(at, kHere.size(), directory);
            settings.here = directory;
        }
    }
}

// Iterative: a text of brackets is no way into our stack.
rapidjson::Document parsed(const std::string& text, const std::string& where) {
    rapidjson::Document document;
    document.Parse<rapidjson::kParseCommentsFlag | rapidjson::kParseIterativeFlag>(text.data(), text.size());
    if (document.HasParseError()) {
        fail(fmt::format("{}: at byte {}: {}", where, document.GetErrorOffset(),
                         rapidjson::GetParseError_En(document.GetParseError())));
    }
    return document;
}

} // namespace

std::optional<uint16_t> parseTimeOfDay(const std::string& text) {
    if (text.size() != 5 || text[2] != ':') {
        return std::nullopt;
    }
    const auto pair = [&](size_t at) {
        const unsigned tens = static_cast<unsigned char>(text[at]) - unsigned{'0'};
        const unsigned ones = static_cast<unsigned char>(text[at + 1]) - unsigned{'0'};
        return tens > 9 || ones > 9 ? 99U : tens * 10 + ones;
    };
    const unsigned hour = pair(0);
    const unsigned minute = pair(3);
    if (hour > 23 || minute > 59) {
        return std::nullopt;
    }
    return static_cast<uint16_t>(hour * 60 + minute);
}

Settings parseSettings(const std::string& text, const std::string& path) {
    const rapidjson::Document document = parsed(text, path);
    if (!document.IsObject()) {
        fail(path + ": expected an object");
    }
    Settings settings;
    readMembers(document, kKeys, path, "", settings);
    for (const auto& member : document.GetObject()) {
        readSection(member.name.GetString(), member.value, path, settings);
    }
    putHere(settings, fs::absolute(path).parent_path());
    return settings;
}

void changeSetting(Settings& settings, const std::string& key, const std::string& value,
                   const std::string& where, const std::string& directory) {
    const rapidjson::Document given = parsed(value, where);
    const NamedKey named = findNamed(key, where);
    Settings changed = settings;
    named.key.drop(changed); // an object takes the place of the whole
    take(named.key, given, where, named.prefix, changed);
    readSection(key, given, where, changed);
    putHere(changed, directory);
    settings = changed;
}

void dropSetting(Settings& settings, const std::string& key, const std::string& where) {
    findNamed(key, where).key.drop(settings);
}

std::string readSettingsText(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    text << file.rdbuf();
    if (!file) {
        fail(path + ": cannot be read");
    }
    return text.str();
}

} // namespace volad_dev

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

// One key: what it takes, and the place of its value. `take` tells whether the value fits.
struct Key {
    const char* name;
    const char* expected;
    bool (*take)(const Json& value, Settings& settings);
};

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
bool isObject(const Json& value, Settings& /*settings*/) {
    return value.IsObject(); // its own keys are looked at next
}

constexpr const char* kNumber = "a number from 0 to 4294967295";
constexpr const char* kTime = "a time \"HH:MM\" or null";

constexpr std::array kJobKeys = {Key{"name", "a text", takeText<&Settings::jobName>},
                                 Key{"directory", "a text", takeText<&Settings::jobDirectory>},
                                 Key{"timeout", kNumber, takeNumber<&Settings::jobTimeout>}};
constexpr std::array kDayKeys = {Key{"sunday", kTime, takeTime<0>},   Key{"monday", kTime, takeTime<1>},
                                 Key{"tuesday", kTime, takeTime<2>},  Key{"wednesday", kTime, takeTime<3>},
                                 Key{"thursday", kTime, takeTime<4>}, Key{"friday", kTime, takeTime<5>},
                                 Key{"saturday", kTime, takeTime<6>}};
constexpr std::array kKeys = {Key{"cabinet", kNumber, takeNumber<&Settings::cabinet>},
                              Key{"hostKind", "a whole number", takeHostKind},
                              Key{"shutdownDelay", kNumber, takeNumber<&Settings::shutdownDelay>},
                              Key{"forceDelay", kNumber, takeNumber<&Settings::forceDelay>},
                              Key{"job", "an object", isObject},
                              Key{"powerOffTimes", "an object", isObject},
                              Key{"powerSwitchNotifications", "true or false", takePowerSwitch}};

std::string namesOf(std::span<const Key> keys) {
    std::string names;
    for (const Key& key : keys) {
        names += names.empty() ? key.name : std::string(", ") + key.name;
    }
    return names;
}

void readObject(const Json& object, std::span<const Key> keys, const std::string& path,
                const std::string& prefix, Settings& settings) {
    for (const auto& member : object.GetObject()) {
        const std::string name = member.name.GetString();
        const Key* found = nullptr;
        for (const Key& key : keys) {
            found = name == key.name ? &key : found;
        }
        if (found == nullptr) {
            fail(fmt::format("{}: unknown key \"{}{}\", expected one of {}", path, prefix, name,
                             namesOf(keys)));
        }
        if (!found->take(member.value, settings)) {
            fail(fmt::format("{}: \"{}{}\": expected {}", path, prefix, name, found->expected));
        }
    }
}

void putHere(std::optional<std::string>& text, const std::string& directory) {
    constexpr std::string_view kHere = "{here}";
    for (size_t at = 0; text && (at = text->find(kHere, at)) != std::string::npos; at += directory.size()) {
        text->replace(at, kHere.size(), directory);
    }
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
    rapidjson::Document document;
    // Iterative: a text of brackets is no way into our stack.
    document.Parse<rapidjson::kParseCommentsFlag | rapidjson::kParseIterativeFlag>(text.data(), text.size());
    if (document.HasParseError()) {
        fail(fmt::format("{}: at byte {}: {}", path, document.GetErrorOffset(),
                         rapidjson::GetParseError_En(document.GetParseError())));
    }
    if (!document.IsObject()) {
        fail(path + ": expected an object");
    }
    Settings settings;
    readObject(document, kKeys, path, "", settings);
    if (document.HasMember("job")) {
        readObject(document["job"], kJobKeys, path, "job.", settings);
    }
    if (document.HasMember("powerOffTimes")) {
        readObject(document["powerOffTimes"], kDayKeys, path, "powerOffTimes.", settings);
    }
    const fs::path directory = fs::absolute(path).parent_path();
    putHere(settings.jobName, directory);
    putHere(settings.jobDirectory, directory);
    return settings;
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

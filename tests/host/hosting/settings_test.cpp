// Settings: every key lands where the module is answered from, and whatever does not fit is named.
#include "host/hosting/settings.h"

#include <gtest/gtest.h>

#include <fstream>
#include <tuple>

#include "contract/settings.h"
#include "host/common/failure.h"

namespace volad_dev {
namespace {

constexpr const char* kPath = "/somewhere/settings.json";

std::string complaint(const std::string& text) {
    try {
        static_cast<void>(parseSettings(text, kPath));
    } catch (const Failure& error) {
        return error.what();
    }
    return "";
}

TEST(SettingsTest, EveryKeyHasItsPlace) {
    const Settings settings = parseSettings(R"({
        "cabinet": 12, "hostKind": 5, "shutdownDelay": 0, "forceDelay": 4294967295,
        "job": {"name": "{here}/job {here}", "directory": "work", "timeout": 7},
        "powerOffTimes": {"sunday": "00:00", "tuesday": null, "saturday": "23:59"},
        "powerSwitchNotifications": false})",
                                            kPath);
    EXPECT_EQ(settings.cabinet, 12U);
    EXPECT_EQ(settings.hostKind, 5);
    EXPECT_EQ(settings.shutdownDelay, 0U);
    EXPECT_EQ(settings.forceDelay, 4294967295U);
    EXPECT_EQ(settings.jobName, "/somewhere/job /somewhere");
    EXPECT_EQ(settings.jobDirectory, "work");
    EXPECT_EQ(settings.jobTimeout, 7U);
    EXPECT_EQ(settings.powerOffTimes[0], 0);
    EXPECT_FALSE(settings.powerOffTimes[2].has_value());
    EXPECT_EQ(settings.powerOffTimes[6], 1439);
    EXPECT_EQ(settings.powerSwitchNotifications, false);
}

TEST(SettingsTest, WhatDoesNotFitIsNamedWithFileKeyAndExpectation) {
    const struct {
        const char* text;
        const char* said;
    } cases[] = {
        {R"({"delay": 3})", "unknown key \"delay\", expected one of cabinet, "},
        {R"({"job": {"path": 3}})", "unknown key \"job.path\", expected one of name, directory, timeout"},
        {R"({"shutdownDelay": "3"})", "\"shutdownDelay\": expected a number from 0"},
        {R"({"shutdownDelay": 4294967296})", "\"shutdownDelay\": expected a number from 0"},
        {R"({"forceDelay": 1.5})", "\"forceDelay\": expected a number from 0"},
        {R"({"job": "job.sh"})", "\"job\": expected an object"},
        {R"({"job": {"name": "a\u0000b"}})", "\"job.name\": expected a text"},
        {R"({"powerOffTimes": {"monday": "24:00"}})", "\"powerOffTimes.monday\": expected a time"},
        {R"({"powerSwitchNotifications": 1})", "\"powerSwitchNotifications\": expected true or false"},
        {"[]", "expected an object"},
        {R"({"cabinet": )", "at byte 12: "},
    };
    for (const auto& each : cases) {
        const std::string said = complaint(each.text);
        EXPECT_TRUE(said.starts_with(std::string(kPath) + ": ")) << each.text << ": " << said;
        EXPECT_NE(said.find(each.said), std::string::npos) << each.text << ": " << said;
    }
}

// docs/settings.md has a row for each key, with what the key takes in the sentence of its refusal; and where
// the module has a default for it, that.
TEST(SettingsPage, HasARowForEachKey) {
    std::string page;
    std::ifstream file(EM_SETTINGS_PAGE);
    for (std::string line; std::getline(file, line);) {
        page += line + '\n';
    }
    size_t keys = 0;
    for (const std::string& object : {std::string(), std::string("job"), std::string("powerOffTimes")}) {
        const auto inObject = [&](const std::string& members) {
            return object.empty() ? "{" + members + "}" : "{\"" + object + "\": {" + members + "}}";
        };
        const std::string refusal = complaint(inObject(R"("?": 0)"));
        const std::string_view begin = "expected one of ";
        std::string rest = refusal.substr(refusal.find(begin) + begin.size()) + ", ";
        for (size_t end; (end = rest.find(", ")) != std::string::npos; rest.erase(0, end + 2), ++keys) {
            const std::string name = rest.substr(0, end);
            const std::string shown = object.empty() ? name : object + "." + name;
            const std::string said = complaint(inObject("\"" + name + "\": 1e99"));
            const std::string expected = said.substr(said.find("expected ") + 9);
            EXPECT_NE(page.find("\n| `" + shown + "` | " + expected + " |"), std::string::npos) << said;
        }
    }
    EXPECT_EQ(keys, 17U);
    for (const auto& [key, setting] : {std::pair("shutdownDelay", em::setting::kShutdownDelay),
                                       {"forceDelay", em::setting::kForceDelay},
                                       {"job.timeout", em::setting::kJobTimeout}}) {
        const size_t row = page.find(std::string("\n| `") + key + "` |") + 1;
        EXPECT_NE(
            page.substr(row, page.find('\n', row) - row)
                .find(std::string("| ") + setting.unit + " | " + std::to_string(*setting.fallback) + " |"),
            std::string::npos)
            << key;
    }
    const std::string kind =
        "\n| `hostKind` | a whole number | | " + std::to_string(Settings().hostKind) + " |";
    EXPECT_NE(page.find(kind), std::string::npos);
}

// A change of one key does what a file with that key does, and leaves the others alone.
TEST(SettingsTest, OneKeyIsChangedAndDropped) {
    const std::string full = R"({"cabinet": 12, "hostKind": 5, "shutdownDelay": 3, "forceDelay": 4,
        "job": {"name": "a", "directory": "b", "timeout": 7}, "powerOffTimes": {"sunday": "00:01",
        "monday": "00:02"}, "powerSwitchNotifications": false})";
    const auto all = [](const Settings& settings) {
        return std::tuple(settings.cabinet, settings.hostKind, settings.shutdownDelay, settings.forceDelay,
                          settings.jobName, settings.jobDirectory, settings.jobTimeout,
                          settings.powerOffTimes, settings.powerSwitchNotifications);
    };
    const struct {
        const char* key;
        const char* value;
        const char* part; // a part of the full file, and the same as if the change had been written there
        const char* changed;
    } cases[] = {
        {"cabinet", "1", R"("cabinet": 12,)", R"("cabinet": 1,)"},
        {"hostKind", "-2", R"("hostKind": 5,)", R"("hostKind": -2,)"},
        {"shutdownDelay", "0", R"("shutdownDelay": 3,)", R"("shutdownDelay": 0,)"},
        {"forceDelay", "9", R"("forceDelay": 4)", R"("forceDelay": 9)"},
        {"job.name", R"("{here}/x")", R"("name": "a",)", R"("name": "/somewhere/x",)"},
        {"job.directory", R"("")", R"("directory": "b",)", R"("directory": "",)"},
        {"job.timeout", "0", R"("timeout": 7)", R"("timeout": 0)"},
        {"job", R"({"name": "x"})", R"("name": "a", "directory": "b", "timeout": 7)", R"("name": "x")"},
        {"powerOffTimes.sunday", R"("23:59")", R"("00:01")", R"("23:59")"},
        {"powerOffTimes.sunday", "null", R"("00:01")", "null"},
        {"powerOffTimes", R"({"monday": "10:00"})", R"("sunday": "00:01",
        "monday": "00:02")",
         R"("monday": "10:00")"},
        {"powerSwitchNotifications", "true", "false", "true"}};
    for (const auto& each : cases) {
        std::string file = full;
        file.replace(file.find(each.part), std::string_view(each.part).size(), each.changed);
        Settings settings = parseSettings(full, kPath);
        changeSetting(settings, each.key, each.value, "where", "/somewhere");
        EXPECT_EQ(all(settings), all(parseSettings(file, kPath))) << each.key;
        dropSetting(settings, each.key, "where");
        Settings again = settings;
        changeSetting(again, each.key, each.value, "where", "/somewhere");
        EXPECT_EQ(all(again) == all(settings), std::string_view(each.value) == "null") << each.key;
    }
    Settings dropped = parseSettings(full, kPath);
    for (const char* key :
         {"cabinet", "hostKind", "shutdownDelay", "forceDelay", "job.name", "job.directory", "job.timeout",
          "powerOffTimes.sunday", "powerOffTimes.monday", "powerSwitchNotifications"}) {
        dropSetting(dropped, key, "where");
    }
    EXPECT_EQ(all(dropped), all(Settings()));
    for (const char* key : {"jobs", "job.", "job.path", "cabinet.x", ""}) {
        EXPECT_THROW(dropSetting(dropped, key, "where"), Failure) << key;
        EXPECT_THROW(changeSetting(dropped, key, "1", "where", "/"), Failure) << key;
    }
}

TEST(SettingsTest, TimesOfDay) {
    EXPECT_EQ(parseTimeOfDay("00:00"), 0);
    EXPECT_EQ(parseTimeOfDay("21:30"), 1290);
    for (const char* text : {"", "9:00", "24:00", "12:60", "1a:00", "12-00", "12:000", "-1:00"}) {
        EXPECT_FALSE(parseTimeOfDay(text).has_value()) << text;
    }
}

} // namespace
} // namespace volad_dev

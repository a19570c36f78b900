// Settings: every key lands where the module is answered from, and whatever does not fit is named.
#include "host/hosting/settings.h"

#include <gtest/gtest.h>

#include <fstream>

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

TEST(SettingsTest, WhatIsNotGivenHasNoValueAndATextStaysAsItIs) {
    const Settings settings = parseSettings(R"({"job": {"name": "job.sh  -x"}})", kPath);
    EXPECT_EQ(settings.jobName, "job.sh  -x");
    EXPECT_FALSE(settings.jobDirectory || settings.shutdownDelay || settings.forceDelay ||
                 settings.jobTimeout || settings.powerSwitchNotifications);
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

// docs/settings.md has a row for each key, with what the key takes in the sentence of its refusal.
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

// What the host knows when the module asks: read from a JSON file. What a file does not give stays unset, and
// the module is answered as by a host that has no value. Texts are given on as they stand, but for "{here}",
// which stands for the file's directory.
// See: docs/settings.md
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace volad_dev {

// The keys of the power-off times, from Sunday on.
inline constexpr std::array kDayNames = {"sunday",   "monday", "tuesday", "wednesday",
                                         "thursday", "friday", "saturday"};

struct Settings {
    uint32_t cabinet = 0;
    int hostKind = 1;                      // 5 is the agentless service
    std::optional<uint32_t> shutdownDelay; // seconds
    std::optional<uint32_t> forceDelay;    // seconds
    std::optional<std::string> jobName;    // a command line
    std::optional<std::string> jobDirectory;
    std::optional<uint32_t> jobTimeout; // seconds
    std::string here; // the directory that "{here}" stands for; empty where no text names it
    std::array<std::optional<uint16_t>, 7> powerOffTimes; // from Sunday on, minutes after midnight
    std::optional<bool> powerSwitchNotifications;         // the module's own property
};

// The whole text of a file, which may be a pipe. Throws Failure (kExitUsage).
[[nodiscard]] std::string readSettingsText(const std::string& path);
// Throws Failure (kExitUsage): file, key, and what was expected there. `path` names the file, and its
// directory is "{here}".
[[nodiscard]] Settings parseSettings(const std::string& text, const std::string& path);

// The same for one key, named as in a refusal ("job.name"); `value` is JSON, as a file has it. Throws Failure
// (kExitUsage) with `where` in front of key and expectation.
void changeSetting(Settings& settings, const std::string& key, const std::string& value,
                   const std::string& where, const std::string& directory);
// As if the file had left the key out. Throws Failure (kExitUsage).
void dropSetting(Settings& settings, const std::string& key, const std::string& where);

// Minutes after midnight of "HH:MM", nothing for any other text.
[[nodiscard]] std::optional<uint16_t> parseTimeOfDay(const std::string& text);

} // namespace volad_dev

#include "host/files/profile_command.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include <fmt/format.h>

#include "base/ascii.h"
#include "base/file_content.h"
#include "host/common/failure.h"
#include "host/common/visible_text.h"
#include "platform/profile/profile_line.h"
#include "platform/profile/profile_string.h"
#include "platform/profile/profile_write.h"
#include "trace/ini_text.h"

namespace volad_dev {
namespace {

struct ProfileCommand {
    int (*run)(const ProfileCommand&) = nullptr;
    std::string file;
    std::optional<std::string> section;
    std::optional<std::string> key;
    std::string value;
    std::optional<std::string> defaultText;
};

const char* textOrNull(const std::optional<std::string>& text) {
    return text ? text->c_str() : nullptr;
}

const char* textOrEmpty(const char* text) {
    return text != nullptr ? text : "";
}

// Calls with a growing buffer until the result fits: a cut one takes all but its terminators.
std::string read(const char* section, const char* key, const char* defaultText, const std::string& file) {
    for (uint32_t size = 1024;; size *= 2) {
        std::string buffer(size, '\0');
        const uint32_t count =
            em::GetPrivateProfileString(section, key, defaultText, buffer.data(), size, file.c_str());
        if (count < size - 2 || size > UINT32_MAX / 2) {
            buffer.resize(count);
            return buffer;
        }
    }
}

std::vector<std::string> names(const char* section, const std::string& file) {
    const std::string list = read(section, nullptr, nullptr, file);
    std::vector<std::string> result;
    for (size_t at = 0; at < list.size(); at += result.back().size() + 1) {
        result.emplace_back(list.c_str() + at);
    }
    return result;
}

bool contains(const std::vector<std::string>& list, const std::string& name) {
    return std::find(list.begin(), list.end(), name) != list.end();
}

[[noreturn]] void fail(const ProfileCommand& command, std::string_view why) {
    throw Failure(fmt::format("{}: {}", command.file, why));
}

[[noreturn]] void failTo(const ProfileCommand& command, const char* step, int error) {
    fail(command, fmt::format("cannot {}: {}", step, std::generic_category().message(error)));
}

// The reading calls themselves just find nothing in a file that cannot be read.
void requireReadable(const ProfileCommand& command) {
    em::FileContent content;
    const int error = em::readRegularFile(command.file.c_str(), em::kLargestProfile, 0, content);
    if (error != 0) {
        failTo(command, "read the file", error);
    }
}

int get(const ProfileCommand& command) {
    if (!command.defaultText) {
        requireReadable(command);
    }
    const std::string value =
        read(command.section->c_str(), command.key->c_str(), textOrNull(command.defaultText), command.file);
    // For an empty value the call gives nothing, as for a missing one.
    if (value.empty() && !command.defaultText &&
        !contains(names(command.section->c_str(), command.file), *command.key)) {
        fail(command, fmt::format("no value of {} in [{}]", *command.key, *command.section));
    }
    fmt::print("{}\n", visibleText(value));
    return kExitAsAsked;
}

bool isEndMarker(std::string_view name) {
    return em::equalsIgnoringAsciiCase(name, em::kIniEndMarker);
}

// By its lines, or as the trace looks for it: a "[" counts in a comment, too.
bool endsWithMarker(std::string_view content) {
    bool isMarker = false;
    em::ProfileLines lines(content);
    for (em::ProfileLine line; lines.next(line);) {
        if (const std::optional<std::string_view> header =
                line.skipped() ? std::nullopt : line.headerName()) {
            isMarker = isEndMarker(*header);
        }
    }
    std::string text(content);
    return isMarker || em::cutAtEndMarker(text.data(), text.size());
}

// A header behind the marker makes the trace pass over the whole file, and a value there is not read.
bool staysInFrontOfMarker(std::string_view content, const em::FileChange& change) {
    return change.from < content.size() || change.text.empty() || !endsWithMarker(content);
}

int write(const ProfileCommand& command, const char* value) {
    const em::FileChangeResult result = em::writeProfile(command.section->c_str(), textOrNull(command.key),
                                                         value, command.file.c_str(), staysInFrontOfMarker);
    if (result.done()) {
        return kExitAsAsked;
    }
    if (result.step == em::FileStep::None && result.error == EINVAL) {
        fail(command, fmt::format("[{}] {} = {} is not written: it would not read back", *command.section,
                                  command.key.value_or(""), textOrEmpty(value)));
    }
    if (result.step == em::FileStep::None && result.error == ECANCELED) {
        fail(command,
             fmt::format("[{}] {} is not written: it would stand behind the last header [{}], where no "
                         "trace reads it; write it in front of that header by hand",
                         *command.section, command.key.value_or(""), em::kIniEndMarker));
    }
    failTo(command, em::nameOf(result.step), result.error);
}

int set(const ProfileCommand& command) {
    return write(command, command.value.c_str());
}

// The call itself is content when there is nothing to delete.
int remove(const ProfileCommand& command) {
    requireReadable(command);
    const char* const section = command.section->c_str();
    if (!contains(names(nullptr, command.file), *command.section)) {
        fail(command, fmt::format("no section [{}]", *command.section));
    }
    if (command.key && !contains(names(section, command.file), *command.key)) {
        fail(command, fmt::format("no key {} in [{}]", *command.key, *command.section));
    }
    return write(command, nullptr);
}

int list(const ProfileCommand& command) {
    requireReadable(command);
    const std::vector<std::string> found = names(textOrNull(command.section), command.file);
    if (found.empty() && !command.section) {
        fail(command, "no section");
    }
    if (found.empty() && !contains(names(nullptr, command.file), *command.section)) {
        fail(command, fmt::format("no section [{}]", *command.section));
    }
    for (const std::string& name : found) {
        fmt::print("{}\n", visibleText(name));
    }
    return kExitAsAsked;
}

CLI::App* addAction(CLI::App& profile, ProfileCommand& target, int (*run)(const ProfileCommand&),
                    const char* name, const char* description) {
    CLI::App* added = profile.add_subcommand(name, description);
    added->parse_complete_callback([&target, run] { target.run = run; });
    added->add_option("FILE", target.file, "the profile file")->required();
    return added;
}

} // namespace

Command addProfileCommand(CLI::App& app) {
    const auto chosen = std::make_shared<ProfileCommand>();
    ProfileCommand& target = *chosen;
    CLI::App* profile = app.add_subcommand("profile", "read and write a profile (INI) file");

    CLI::App* getting = addAction(*profile, target, get, "get", "print a value");
    CLI::App* setting = addAction(*profile, target, set, "set", "add or replace a value");
    for (CLI::App* action : {getting, setting}) {
        action->add_option("SECTION", target.section)->required();
        action->add_option("KEY", target.key)->required();
    }
    getting->add_option("--default", target.defaultText, "printed where there is no value");
    setting->add_option("VALUE", target.value)->required();

    CLI::App* deleting = addAction(*profile, target, remove, "delete", "delete a key or a section");
    deleting->add_option("SECTION", target.section)->required();
    deleting->add_option("KEY", target.key);

    CLI::App* listing = addAction(*profile, target, list, "list", "list the sections or the keys of one");
    listing->add_option("SECTION", target.section);
    return {profile, [chosen] { return chosen->run(*chosen); }, false};
}

} // namespace volad_dev

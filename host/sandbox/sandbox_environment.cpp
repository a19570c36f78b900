#include "host/sandbox/sandbox_environment.h"

#include <algorithm>
#include <array>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/common/failure.h"
#include "host/common/search_path.h"
#include "host/sandbox/environment_file.h"
#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

constexpr std::string_view kPath = "PATH=";
// A test's own choices; "ASAN_OPTIONS" and the like.
constexpr std::array<std::string_view, 5> kLetThrough = {
    "GTEST_", "ASAN_OPTIONS=", "LSAN_OPTIONS=", "TSAN_OPTIONS=", "UBSAN_OPTIONS="};

bool isLetThrough(std::string_view assignment) {
    return std::ranges::any_of(kLetThrough,
                               [&](std::string_view begin) { return assignment.starts_with(begin); });
}

[[noreturn]] void refuse(const std::string& text) {
    throw Failure(text, kExitUsage);
}

void setVariable(std::vector<std::string>& arguments, const std::string& assignment) {
    const size_t equals = assignment.find('=');
    arguments.insert(arguments.end(),
                     {"--setenv", assignment.substr(0, equals), assignment.substr(equals + 1)});
}

} // namespace

std::string givenPath(const SandboxOptions& options) {
    std::string path;
    for (const std::string& variable : options.service) {
        path = variable.starts_with(kPath) ? variable.substr(kPath.size()) : path;
    }
    return options.path.empty() ? path : options.path;
}

std::vector<std::string> searchPath(const SandboxOptions& options) {
    const std::string given = givenPath(options);
    const std::string path = given.empty() ? kServicesPath : given;
    std::vector<std::string> directories = directoriesOf(path);
    bool standIns = false;
    for (const std::string& directory : directories) {
        if (!directory.starts_with('/')) {
            refuse(fmt::format("PATH \"{}\" inside: \"{}\" is no absolute directory", path, directory));
        }
        standIns = standIns || std::ranges::find(layout::kStandInDirectories, directory) !=
                                   layout::kStandInDirectories.end();
    }
    if (!standIns) {
        refuse(
            fmt::format("PATH \"{}\" inside names none of {}: the stand-in of the maintenance tool stands in "
                        "/usr/sbin",
                        path, fmt::join(layout::kStandInDirectories, ", ")));
    }
    return directories;
}

std::vector<std::string> environmentArguments(const SandboxOptions& options, const char* const* environment) {
    std::vector<std::string> arguments = {"--clearenv"};
    setVariable(arguments, "HOME=/tmp");
    for (; *environment != nullptr; ++environment) {
        if (isLetThrough(*environment)) {
            setVariable(arguments, *environment);
        }
    }
    for (const std::string& variable : options.service) {
        setVariable(arguments, variable); // looked at as the file was read
    }
    for (const std::string& variable : options.environment) {
        const std::string fault =
            variable.starts_with(kPath) ? "PATH inside is what --path names" : variableFault(variable);
        if (!fault.empty()) {
            refuse("--setenv: " + fault);
        }
        setVariable(arguments, variable);
    }
    setVariable(arguments, fmt::format("{}{}", kPath, fmt::join(searchPath(options), ":")));
    setVariable(arguments, std::string(layout::kScratchVariable) + '=' + layout::kScratch);
    return arguments;
}

} // namespace volad_dev

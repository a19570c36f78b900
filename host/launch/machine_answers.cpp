#include "host/launch/machine_answers.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include <fmt/format.h>

#include "contract/places.h"
#include "host/common/failure.h"
#include "host/common/search_path.h"
#include "platform/processes/shell_query.h"

namespace volad_dev {
namespace {

constexpr uint32_t kLimitMs = 30'000;

std::string_view toolName() {
    const std::string_view query = em::place::kMaintenanceQuery;
    return query.substr(0, query.find(' '));
}

bool isProgram(const std::string& file) {
    std::error_code failed;
    return access(file.c_str(), X_OK) == 0 && std::filesystem::is_regular_file(file, failed);
}

bool isAsked(void* interruption) {
    return (*static_cast<const Interruption**>(interruption))->isAsked();
}

bool isInPath(const std::string& path) {
    const std::vector<std::string> directories = directoriesOf(path);
    return std::ranges::any_of(directories, [](const std::string& directory) {
        return isProgram(fmt::format("{}/{}", directory.empty() ? "." : directory, toolName()));
    });
}

} // namespace

const char* nameOf(GateHere gate) {
    switch (gate) {
    case GateHere::Missing:
        return "missing";
    case GateHere::Enabled:
        return "enabled";
    case GateHere::Disabled:
        return "disabled";
    case GateHere::NotAsked:
        break;
    }
    return "not-asked";
}

// NOLINTBEGIN(concurrency-mt-unsafe): the launcher has one thread
GateHere gateHere(const std::string& path, bool mayAsk, const Interruption& interruption) {
    const char* const inherited = std::getenv("PATH");
    const std::string own = inherited != nullptr ? inherited : "";
    const std::string& searched = path.empty() ? own : path;
    if (!isInPath(searched)) {
        return GateHere::Missing;
    }
    if (!mayAsk) {
        return GateHere::NotAsked;
    }
    setenv("PATH", searched.c_str(), 1);
    const Interruption* context = &interruption;
    const em::ShellAnswer answer = em::queryShell(em::place::kMaintenanceQuery, kLimitMs, isAsked, &context);
    static_cast<void>(inherited != nullptr ? setenv("PATH", own.c_str(), 1) : unsetenv("PATH"));
    if (interruption.isAsked()) {
        throw Failure("interrupted while the maintenance tool was asked", kExitInterrupted);
    }
    return answer.end == em::ShellAnswer::End::Answered && answer.firstCharacter == em::place::kMaintenanceOn
               ? GateHere::Enabled
               : GateHere::Disabled;
}
// NOLINTEND(concurrency-mt-unsafe)

std::vector<Warning> contradictions(const ShutdownRun& run, const em::ShutdownAction& action) {
    std::vector<Warning> warnings;
    if (run.gate.assumed == "on" && run.gate.here == nameOf(GateHere::Missing)) {
        warnings.push_back(
            {"gate-missing-here",
             fmt::format("this machine would refuse the request at the gate: there is no {} in "
                         "the PATH",
                         toolName())});
    }
    if (!isProgram(action.command)) {
        warnings.push_back(
            {"power-command-missing",
             fmt::format("this machine would stay up: there is no {} that can be run", action.command)});
    }
    return warnings;
}

} // namespace volad_dev

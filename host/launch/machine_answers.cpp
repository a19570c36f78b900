#include "host/launch/machine_answers.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string_view>

#include <fmt/format.h>

#include "base/unique_fd.h"
#include "contract/places.h"
#include "host/common/failure.h"
#include "host/common/pipe.h"
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

// The standard error of this process and its children goes into a pipe while it lives, which holds more than
// anybody writes there: it reaches no terminal as it stands.
class KeptErrors {
public:
    KeptErrors() {
        constexpr int kRoom = 1 << 20; // bytes
        fcntl(m_pipe.writeEnd.get(), F_SETPIPE_SZ, kRoom);
        fcntl(m_pipe.readEnd.get(), F_SETFL, O_NONBLOCK);
        if (m_before.valid()) {
            dup2(m_pipe.writeEnd.get(), STDERR_FILENO);
        }
    }
    KeptErrors(const KeptErrors&) = delete;
    KeptErrors& operator=(const KeptErrors&) = delete;
    ~KeptErrors() {
        if (m_before.valid()) {
            dup2(m_before.get(), STDERR_FILENO);
        }
    }

    [[nodiscard]] std::string firstLine() const {
        constexpr size_t kLongest = 200;
        std::string text(kLongest, '\0');
        const ssize_t size = read(m_pipe.readEnd.get(), text.data(), text.size());
        text.resize(size > 0 ? static_cast<size_t>(size) : 0);
        return text.substr(0, text.find('\n'));
    }

private:
    Pipe m_pipe = makePipe();
    em::UniqueFd m_before{fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)};
};

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
GateAnswer gateHere(const std::string& path, bool mayAsk, const Interruption& interruption) {
    const char* const inherited = std::getenv("PATH");
    const std::string own = inherited != nullptr ? inherited : "";
    // Without a PATH the shell that asks has its own, and that names the same directories.
    const std::string searched = !path.empty() ? path : inherited == nullptr ? kServicesPath : own;
    if (!isInPath(searched)) {
        return {GateHere::Missing, ""};
    }
    if (!mayAsk) {
        return {GateHere::NotAsked, ""};
    }
    setenv("PATH", searched.c_str(), 1);
    const KeptErrors errors;
    const Interruption* context = &interruption;
    const em::ShellAnswer answer = em::queryShell(em::place::kMaintenanceQuery, kLimitMs, isAsked, &context);
    static_cast<void>(inherited != nullptr ? setenv("PATH", own.c_str(), 1) : unsetenv("PATH"));
    if (interruption.isAsked()) {
        throw Failure("interrupted while the maintenance tool was asked", kExitInterrupted);
    }
    const bool enabled =
        answer.end == em::ShellAnswer::End::Answered && answer.firstCharacter == em::place::kMaintenanceOn;
    return {enabled ? GateHere::Enabled : GateHere::Disabled, errors.firstLine()};
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

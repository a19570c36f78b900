#include "host/rehearsal/started_commands.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <utility>

#include "contract/places.h"

namespace volad_dev {
namespace {

// The service manager's verbs that end the system, and with ".target" behind them the units.
constexpr std::array<std::string_view, 6> kEndings = {"poweroff", "reboot",      "halt",
                                                      "kexec",    "soft-reboot", "exit"};
constexpr std::array<std::string_view, 2> kUnitVerbs = {"start", "isolate"};

bool isEnding(std::string_view word) {
    return std::ranges::find(kEndings, word) != kEndings.end();
}

bool isEndingUnit(std::string_view unit) {
    constexpr std::string_view kTarget = ".target";
    return unit.ends_with(kTarget) && isEnding(unit.substr(0, unit.size() - kTarget.size()));
}

// All that is recorded is made to end the system, but for the service manager, which does much else.
bool endsSystem(const CommandRecord& record) {
    using std::filesystem::path;
    if (path(record.name).filename() != path(em::place::kServiceManager).filename()) {
        return true;
    }
    const auto verb = std::ranges::find_if(record.arguments,
                                           [](const std::string& word) { return !word.starts_with('-'); });
    return verb != record.arguments.end() &&
           (isEnding(*verb) || (std::ranges::find(kUnitVerbs, *verb) != kUnitVerbs.end() &&
                                std::any_of(verb, record.arguments.end(), isEndingUnit)));
}

// Not collected by anybody yet. The module leaves the command that it starts to whoever collects it, so that
// is one until the very end.
bool isUncollectedChild(int pid) {
    siginfo_t info = {};
    return waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0;
}

// The child of this process by way of which the record's process was started, 0 for none. The file is open to
// the job as well; what it writes there cannot make it a child of ours.
int childBehind(const CommandRecord& record) {
    int child = record.pid;
    for (const int ancestor : record.ancestors) {
        if (ancestor == getpid()) {
            return isUncollectedChild(child) ? child : 0;
        }
        child = ancestor;
    }
    return 0;
}

} // namespace

StartedCommands readCommands(const CommandRecorder& recorder, const std::optional<JobSighting>& job) {
    StartedCommands commands;
    for (CommandRecord& record : recorder.read(&commands.garbled)) {
        const int child = childBehind(record);
        const bool ours = child != 0 && !(job && child == job->pid);
        (ours                 ? commands.ofModule
         : endsSystem(record) ? commands.ofJob
                              : commands.harmless)
            .push_back(std::move(record));
    }
    return commands;
}

} // namespace volad_dev

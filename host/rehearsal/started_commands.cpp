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

// What ends the system, as a verb of the service manager or a unit: "reboot.target",
// "systemd-reboot.service".
constexpr std::array<std::string_view, 14> kEndings = {
    "poweroff", "reboot",    "halt",      "kexec",  "soft-reboot", "exit",    "shutdown",
    "final",    "runlevel0", "runlevel6", "rescue", "emergency",   "default", "ctrl-alt-del"};
// Verbs that start nothing, whatever they name.
constexpr std::array<std::string_view, 9> kHarmlessVerbs = {
    "status", "is-active", "is-enabled", "is-failed", "show", "cat", "stop", "disable", "mask"};

bool isEnding(std::string_view word) {
    constexpr std::string_view kPrefix = "systemd-";
    word.remove_prefix(word.starts_with(kPrefix) ? kPrefix.size() : 0);
    return std::ranges::find(kEndings, word.substr(0, word.find('.'))) != kEndings.end();
}

bool isServiceManager(const CommandRecord& record) {
    using std::filesystem::path;
    const path manager = em::place::kServiceManager;
    return record.file == manager || record.file == path("/bin") / manager.filename();
}

// All that is recorded is made to end the system, but for the service manager, which does much else. What is
// not known to be harmless counts as an end.
bool endsSystem(const CommandRecord& record) {
    if (!isServiceManager(record)) {
        return true;
    }
    const auto verb = std::ranges::find_if(record.arguments,
                                           [](const std::string& word) { return !word.starts_with('-'); });
    if (verb != record.arguments.end() && std::ranges::find(kHarmlessVerbs, *verb) != kHarmlessVerbs.end()) {
        return false;
    }
    return std::ranges::any_of(record.arguments,
                               [](const std::string& word) { return word == "isolate" || isEnding(word); });
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

#include "host/rehearsal/started_commands.h"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <string_view>
#include <utility>
#include <vector>

#include "contract/places.h"

namespace volad_dev {
namespace {

// What ends the system, as a verb of the service manager or a unit: "reboot.target",
// "systemd-reboot.service".
constexpr std::array<std::string_view, 17> kEndings = {"poweroff",
                                                       "reboot",
                                                       "halt",
                                                       "kexec",
                                                       "soft-reboot",
                                                       "exit",
                                                       "shutdown",
                                                       "final",
                                                       "runlevel0",
                                                       "runlevel6",
                                                       "rescue",
                                                       "emergency",
                                                       "default",
                                                       "ctrl-alt-del",
                                                       "hibernate",
                                                       "hybrid-sleep",
                                                       "suspend-then-hibernate"};
// Verbs that start nothing, whatever they name.
constexpr std::array<std::string_view, 6> kHarmlessVerbs = {"status", "show",    "cat",
                                                            "stop",   "disable", "mask"};
// Options whose value is a word of its own.
constexpr std::array<std::string_view, 20> kValued = {
    "-p",      "-P",        "-t",       "-n",         "-o",     "-s",       "-H",
    "-M",      "--message", "--when",   "--root",     "--type", "--lines",  "--job-mode",
    "--state", "--output",  "--signal", "--property", "--host", "--machine"};

bool isEnding(std::string_view word) {
    constexpr std::string_view kPrefix = "systemd-";
    word.remove_prefix(word.starts_with(kPrefix) ? kPrefix.size() : 0);
    return std::ranges::find(kEndings, word.substr(0, word.find('.'))) != kEndings.end();
}

// By what was run and by the name it was called: by that of another command it does what that does.
bool isServiceManager(const CommandRecord& record) {
    using std::filesystem::path;
    const path manager = path(em::place::kServiceManager).filename();
    return path(record.file).filename() == manager && path(record.name).filename() == manager;
}

// The verb and what it names.
std::vector<std::string_view> wordsOf(const CommandRecord& record) {
    std::vector<std::string_view> words;
    for (size_t i = 0; i < record.arguments.size(); ++i) {
        const std::string_view word = record.arguments[i];
        if (std::ranges::find(kValued, word) != kValued.end()) {
            ++i;
        } else if (!word.starts_with('-')) {
            words.push_back(word);
        }
    }
    return words;
}

// All that is recorded is made to end the system, but for the service manager, which does much else.
bool endsSystem(const CommandRecord& record) {
    if (!isServiceManager(record)) {
        return true;
    }
    const std::vector<std::string_view> words = wordsOf(record);
    const std::string_view verb = words.empty() ? "" : words.front();
    if (verb.starts_with("is-") || verb.starts_with("list-") ||
        std::ranges::find(kHarmlessVerbs, verb) != kHarmlessVerbs.end()) {
        return false;
    }
    return verb == "isolate" || std::ranges::any_of(words, [](std::string_view word) {
               return word == "init.scope" || isEnding(word); // what is sent to that may end all
           });
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

#include "host/rehearsal/started_commands.h"

#include <sys/wait.h>
#include <unistd.h>

#include <utility>

namespace volad_dev {
namespace {

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
        (ours ? commands.ofModule : commands.ofJob).push_back(std::move(record));
    }
    return commands;
}

} // namespace volad_dev

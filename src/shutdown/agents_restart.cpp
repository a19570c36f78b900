#include "shutdown/agents_restart.h"

#include <cstring>

#include "base/error_text.h"
#include "base/mutex.h"
#include "base/system.h"
#include "contract/places.h"
#include "platform/files/file_change.h"
#include "platform/processes/child_process.h"
#include "trace/trace.h"

namespace em {
namespace {

constinit Mutex jobFileMutex; // two requests may come at once; nothing is traced under it

// Who could write the file could have root's action script run any command: never wider than this, whatever
// the mask and whatever stands there.
constexpr FileModes kJobFileModes = {.fresh = 0644, .widest = 0644, .lessTheMask = true};

FileChangeResult replaceJobFile(const char* file, const char* command) {
    const MutexLock lock(jobFileMutex);
    return replaceFileContent(file, kJobFileModes, command);
}

// Taken up by the agents' own script: under a service manager a child of ours could not restart its own host.
bool writeJobFile(const char* command) {
    EM_TRACE(1,
             "CTellmarkAgents: we are running on a System with systemctl (e.g. RHEL7 or SLES12 or higher\n");
    const char* const file = sys::path(place::kRestartJobFile);
    const FileChangeResult result = replaceJobFile(file, command);
    if (result.done()) {
        EM_TRACE(1, "CTellmarkAgents: Restart Agents Job created: \"%s\"\n", command);
        EM_TRACE(1, "CTellmarkAgents: This Job will be executed by ombradAction script\n");
    } else if (result.notOpened()) {
        EM_TRACE(1, "CTellmarkAgents: cannot open \"%s\"\n", file);
    }
    return result.done();
}

bool startRestart(const char* command) {
    EM_TRACE(1, "CTellmarkAgents: Execute Restart Job: %s\n", command);
    const ChildProcess child = startShell(command, ChildSignals::UnblockAlarm);
    if (!child.started()) {
        EM_TRACE(1, "CTellmarkAgents: Execution of Restart Job \"%s\" failed, errno = %s\n", command,
                 ErrorText(child.error).get());
    }
    return child.started();
}

} // namespace

bool CTellmarkAgents::IsAgentlessService() const {
    return std::strcmp(m_productIdentifier, "brix") == 0 || std::strcmp(m_productIdentifier, "BRIX") == 0;
}

bool CTellmarkAgents::RestartAgents() const {
    const bool agentless = IsAgentlessService();
    if (agentless) {
        EM_TRACE(4, "\nCHostwardenInstal: BRIX installation detected!");
    }
    if (sys::access(sys::path(place::kServiceManager), F_OK) == 0) {
        return writeJobFile(agentless ? place::kRestartAgentlessManaged : place::kRestartAgents);
    }
    return startRestart(agentless ? place::kRestartAgentless : place::kRestartAgents);
}

} // namespace em

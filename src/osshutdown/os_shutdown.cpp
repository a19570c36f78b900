#include "osshutdown/os_shutdown.h"

#include "base/system.h"
#include "contract/shutdown_actions.h"
#include "contract/trace_lines.h"
#include "osshutdown/job_runner.h"
#include "trace/boundary.h"
#include "trace/table_line.h"

namespace em {
namespace {

constexpr int32_t kHardShutdownPriority = 83;

// The privilege check: the real user id counts.
bool PrepareSystemShutdown() {
    EM_TRACE(5, "\nCOSShutdown         : -> PrepareSystemShutdown");
    // Not the effective id: a set-user-id host is not meant to end the system for whoever started it.
    const bool allowed = sys::getuid() == 0;
    EM_TRACE(1, line::kPrivilege, allowed ? "OK" : "FAILED");
    EM_TRACE(5, "\nCOSShutdown         : <- PrepareSystemShutdown");
    return allowed;
}

} // namespace

// Kind of reset and title have their first values for the length of the constructor only.
COSShutdown::COSShutdown() : m_Event(false, true), m_strTitle("System Shutdown") {
    m_Lock.SetUp();
    m_Event.RecreateEvent(false, false);
    m_strTitle = "Tellmark Agents";
}

COSShutdown::~COSShutdown() {
    EM_TRACE(5, "\nCOSShutdown         : -> ~COSShutdown");
    // Nothing waits for either any more; set all the same, so that a thread that will once sleep here ends.
    m_bTerminate = true;
    m_Event.SetEvent();
    m_Event.CloseEvent();
    m_HardShutdownThread.JoinSilently(); // it must not run in freed memory or unloaded code
    EM_TRACE(5, "\nCOSShutdown         : <- ~COSShutdown");
}

// The kinds' table has the last word on an unknown kind; nothing but want of memory throws below.
bool COSShutdown::SystemShutdown(uint32_t kind, uint32_t forceDelaySeconds, const char* /*message*/) {
    bool done = false;
    if (swallow([&] { done = EndSystem(kind, forceDelaySeconds); })) {
        return done;
    }
    EM_TRACE(1, "\n\nCOSShutdown         : EXCEPTION during execution of SystemShutdown()!\n");
    EM_TRACE(5, "\nCOSShutdown         : <- SystemShutdown");
    return false;
}

bool COSShutdown::EndSystem(uint32_t kind, uint32_t forceDelaySeconds) {
    EM_TRACE(5, "\nCOSShutdown         : -> SystemShutdown");
    const bool allowed = PrepareSystemShutdown();
    if (allowed) {
        static_cast<void>(sys::chdir("/")); // the command needs no particular directory
        const ShutdownAction& action = shutdownActionOf(kind);
        traceTableLine(1, action.commandLine, action.command);
        runCommand(action.command, 0); // one that was not started has written its line
        if (forceDelaySeconds != 0) {
            StartHardShutdown(kind, forceDelaySeconds);
        }
    }
    EM_TRACE(5, "\nCOSShutdown         : <- SystemShutdown");
    return allowed;
}

int32_t COSShutdown::ExecuteCmd(const char* command, uint32_t timeoutSeconds) {
    return atBoundary("ExecuteCmd()", -1, [&] {
        switch (runCommand(command, timeoutSeconds).end) {
        case CommandEnd::Finished:
        case CommandEnd::CollectedElsewhere:
            return 0;
        case CommandEnd::TimedOut:
            return 1;
        case CommandEnd::Empty:
        case CommandEnd::NotStarted:
        case CommandEnd::WaitFailed:
            break;
        }
        return -1;
    });
}

bool COSShutdown::RunShutdownJob(const char* path, const char* directory, uint32_t timeoutSeconds) {
    return runJob(path, directory, timeoutSeconds);
}

void COSShutdown::DisplayShutdownAction(const char* /*title*/, const char* /*text*/) {
    EM_TRACE(5, "\nCOSShutdown         : -> DisplayShutdownAction");
    EM_TRACE(5, "\nCOSShutdown         : <- DisplayShutdownAction");
}

void COSShutdown::AbortShutdownAction(const char* /*title*/, const char* /*text*/) {
    EM_TRACE(5, "\nCOSShutdown         : -> AbortShutdownAction");
    EM_TRACE(5, "\nCOSShutdown         : <- AbortShutdownAction");
}

void COSShutdown::StartHardShutdown(uint32_t kind, uint32_t forceDelaySeconds) {
    EM_TRACE(3,
             "\nCOSShutdown         : shutdown force delay available (%d secs.), start HardShutdown thread",
             asInt(forceDelaySeconds));
    m_HardShutdownThread.JoinSilently(); // one of an earlier call still reads the values below
    m_nShutdownKind = kind;
    m_nForceDelay = forceDelaySeconds;
    m_HardShutdownThread.Start(HardShutdown, this, kHardShutdownPriority, false, 0, false, true);
}

} // namespace em

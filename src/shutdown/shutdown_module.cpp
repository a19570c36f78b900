#include "shutdown/shutdown_module.h"

#include <algorithm>

#include "base/clock.h"
#include "platform/threads/thread_boundary.h"
#include "shutdown/alert_sequence.h"
#include "shutdown/disconnect_procedure.h"
#include "shutdown/maintenance_watcher.h"
#include "shutdown/operation_codes.h"
#include "shutdown/power_off_worker.h"

namespace em {
namespace {

constexpr char kOpening[] =
    "\n\n------------------------------------------------------------------------------------------";
constexpr char kClosing[] =
    "\n------------------------------------------------------------------------------------------\n";
constexpr int32_t kWorkerPriority = 63;
constexpr uint32_t kFailedWaitSliceMs = 100;

} // namespace

CShutdownExtensionModule::CShutdownExtensionModule() = default;

CShutdownExtensionModule::~CShutdownExtensionModule() {
    // Here and not in a base: a task that still runs would call into members that are gone.
    static_cast<void>(swallow([this] {
        if (HasThreads()) {
            StopThreads();
        }
    }));
    for (EventHandle* const event :
         {&m_WatcherEvent, &m_ReadyForShutdownEvent, &m_WorkerEvent, &m_DelayEvent}) {
        event->SetEvent();
        event->CloseEvent();
    }
}

bool CShutdownExtensionModule::HasThreads() const {
    return IsHandlerAlive() || m_Worker.IsAlive() || m_Watcher.IsAlive();
}

bool CShutdownExtensionModule::Start() {
    m_bStarted = true; // first of all: what is left half-started, Stop must end too
    return atBoundary("Start()", true, [this] {
        EM_TRACE(1, kOpening);
        EM_TRACE(1, "\n### Starting module %s ###\n", ModuleName());
        RegisterEventLogSource();
        StartSerialization();
        SendHostNotice(true);
        EM_TRACE(2, "\nEM_SHUTDOWN         : enable software power-off...");
        SwitchPowerSwitchNotifications(true);
        EM_TRACE(3, "\nEM_SHUTDOWN         : start worker thread...");
        if (!m_Worker.IsAlive()) {
            static_cast<void>(m_Worker.Start(&WorkerThread, this, kWorkerPriority, false, 0, false, true));
        }
        EM_TRACE(1, "\n\n### Start of module %s completed successfully ###", ModuleName());
        EM_TRACE(1, kClosing);
        return true;
    });
}

unsigned CShutdownExtensionModule::Stop() {
    return atBoundary("Stop()", 1U, [this] {
        EM_TRACE(1, kOpening);
        EM_TRACE(1, "\n### Stopping module %s ###\n", ModuleName());
        if (m_bStarted) {
            StopThreads();
            m_bStarted = false;
            EM_TRACE(1, "\n\n### Stop of module %s completed successfully ###", ModuleName());
            EM_TRACE(1, kClosing);
        }
        return 1U;
    });
}

// The order is what lets a running delay end at once: joining the task handler comes after its event.
void CShutdownExtensionModule::StopThreads() {
    m_bStop = true;
    m_WorkerEvent.SetEvent();
    m_WatcherEvent.SetEvent();
    m_DelayEvent.SetEvent();
    TerminateSerialization();
    m_Worker.JoinSilently();
    m_Watcher.JoinSilently();
}

void* CShutdownExtensionModule::WorkerThread(void* module) {
    return runThreadBody("WorkerThread()",
                         [module] { PowerOffWorker(*static_cast<CShutdownExtensionModule*>(module)).Run(); });
}

void* CShutdownExtensionModule::CheckMaintenanceThreadProc(void* module) {
    return runThreadBody("CheckMaintenanceThreadProc()", [module] {
        MaintenanceWatcher(*static_cast<CShutdownExtensionModule*>(module)).Run();
    });
}

void CShutdownExtensionModule::SleepOn(EventHandle& event, uint64_t spanMs, bool wakeUps) {
    const Deadline deadline = Deadline::in(spanMs);
    for (;;) {
        const uint32_t left = deadline.remainingMs();
        const int32_t end = event.WaitForEvent(left, true);
        if (m_bStop || end == EVENT_TIMEOUT || (end == EVENT_SIGNALED && wakeUps)) {
            return;
        }
        if (end == EVENT_FAILED) {
            sleepMs(std::min(left, kFailedWaitSliceMs));
        }
        if (deadline.remainingMs() == 0) {
            return;
        }
    }
}

void CShutdownExtensionModule::OnTaskExecution(SipJson& task, int /*level*/) {
    atBoundary("OnTaskExecution()", [&] {
        switch (task.GetUint("OC", 0)) {
        case opcode::CM_Disconnect:
            DisconnectProcedure(*this).Run();
            break;
        case opcode::CM_RequestShutdownAndOff:
        case opcode::CM_RequestShutdownAndReset:
        case opcode::CM_RequestShutdownAndHalt:
            AlertSequence(*this, task).Run();
            break;
        default:
            break;
        }
    });
}

} // namespace em

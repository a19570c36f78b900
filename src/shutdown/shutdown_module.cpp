#include "shutdown/shutdown_module.h"

#include <cerrno>

#include "base/clock.h"
#include "base/error_text.h"
#include "contract/envelope.h"
#include "contract/notifications.h"
#include "contract/shutdown_actions.h"
#include "contract/trace_lines.h"
#include "frame/envelope/message_trace.h"
#include "platform/threads/thread_boundary.h"
#include "shutdown/alert_sequence.h"
#include "shutdown/disconnect_procedure.h"
#include "shutdown/maintenance_watcher.h"
#include "shutdown/power_off_worker.h"
#include "shutdown/reply_handler.h"
#include "shutdown/request_handler.h"

namespace em {
namespace {

constexpr char kOpening[] =
    "\n\n------------------------------------------------------------------------------------------";
constexpr char kClosing[] =
    "\n------------------------------------------------------------------------------------------\n";
constexpr int32_t kThreadPriority = 63; // of worker and watcher
constexpr uint32_t kReadyTimeoutMs = 5000;
constexpr uint32_t kMessageTraceLevel = 2;

} // namespace

CShutdownExtensionModule::CShutdownExtensionModule() = default;

CShutdownExtensionModule::~CShutdownExtensionModule() {
    // Here and not in a base: a task that still runs would call into members that are gone.
    static_cast<void>(swallow([this] {
        if (hasThreads()) {
            stopThreads();
        }
    }));
    ++*m_disconnects; // whoever still waits for the procedure goes, and touches nothing here
    for (EventHandle* const event :
         {&m_watcherEvent, &m_readyForShutdownEvent, &m_workerEvent, &m_delayEvent}) {
        event->SetEvent();
        event->CloseEvent();
    }
}

bool CShutdownExtensionModule::hasThreads() const {
    return IsHandlerAlive() || m_worker.IsAlive() || m_watcher.IsAlive();
}

bool CShutdownExtensionModule::Start() {
    m_started = true; // first of all: what is left half-started, Stop must end too
    return atBoundary("Start()", true, [this] {
        EM_TRACE(1, kOpening);
        EM_TRACE(1, line::kStarting, ModuleName());
        RegisterEventLogSource();
        StartSerialization();
        SendHostNotice(true);
        EM_TRACE(2, "\nEM_SHUTDOWN         : enable software power-off...");
        m_host.switchPowerSwitchEvents(true);
        EM_TRACE(3, "\nEM_SHUTDOWN         : start worker thread...");
        if (!m_worker.IsAlive()) {
            static_cast<void>(m_worker.Start(&WorkerThread, this, kThreadPriority, false, 0, false, true));
        }
        EM_TRACE(1, line::kStarted, ModuleName());
        EM_TRACE(1, kClosing);
        return true;
    });
}

void CShutdownExtensionModule::AfterStart() {
    atBoundary("AfterStart()", [this] {
        if (SwitchShutdown()) {
            return; // the host is on its way down: nobody would be told of a change
        }
        EM_TRACE(3, "\n\nEM_SHUTDOWN         : start check maintenance mode thread...");
        if (m_watcher.IsAlive() ||
            m_watcher.Start(&CheckMaintenanceThreadProc, this, kThreadPriority, false, 0, false, true)) {
            return;
        }
        const int error = errno;
        EM_TRACE(
            1,
            "\n\nEM_SHUTDOWN           : ## ERROR 0x%X! Failed to start check maintenance mode thread (%s)!",
            static_cast<unsigned>(error), ErrorText(error).get());
    });
}

// Without Start there are two lines and no threads to look for.
unsigned CShutdownExtensionModule::Stop() {
    return atBoundary("Stop()", 1U, [this] {
        EM_TRACE(1, kOpening);
        EM_TRACE(1, line::kStopping, ModuleName());
        if (m_started) {
            stopThreads();
            m_started = false;
            EM_TRACE(1, line::kStopped, ModuleName());
            EM_TRACE(1, kClosing);
        }
        return 1U;
    });
}

// The order is what lets a running delay end at once. The flag comes before the events, so that who is woken
// finds it; the events come before the joins, which have no limit: the task handler may be waiting on the
// delay's. Its join is the first, since its lines are what a trace shows of Stop.
void CShutdownExtensionModule::stopThreads() {
    m_stop.raise();
    m_workerEvent.SetEvent();
    m_watcherEvent.SetEvent();
    m_delayEvent.SetEvent();
    TerminateSerialization();
    m_worker.JoinSilently();
    m_watcher.JoinSilently();
}

// Not cancelled and joined by Stop, so the object outlives the thread.
void* CShutdownExtensionModule::WorkerThread(void* module) {
    auto& self = *static_cast<CShutdownExtensionModule*>(module);
    return runThreadBody("WorkerThread()", [&self] {
        PowerOffWorker(self.m_host, self.m_progress, self.m_stop, self.m_workerEvent).run();
    });
}

void* CShutdownExtensionModule::CheckMaintenanceThreadProc(void* module) {
    auto& self = *static_cast<CShutdownExtensionModule*>(module);
    return runThreadBody("CheckMaintenanceThreadProc()", [&self] {
        MaintenanceWatcher(self.m_host, self.m_stop, self.m_watcherEvent).run();
    });
}

bool CShutdownExtensionModule::HandleRequest(SipJson* request) {
    if (request == nullptr) {
        return false;
    }
    bool handled = false;
    const bool completed = atBoundary("HandleRequest()", [&] {
        TraceRequest(ModuleName(), *request, kMessageTraceLevel);
        handled = RequestHandler(m_progress).handle(*request);
    });
    if (!completed) {
        request->SetStatus(status::kMalformed);
    }
    TraceReturn(ModuleName(), *request, kMessageTraceLevel); // of what the host gets, whichever way it went
    return completed && handled;
}

void CShutdownExtensionModule::ApplicationReply(SipJson* reply) {
    if (reply == nullptr) {
        return;
    }
    atBoundary("ApplicationReply()", [&] {
        TraceReply(ModuleName(), *reply, kMessageTraceLevel);
        EM_TRACE(5, "\nEM_SHUTDOWN         :   -> ApplicationReply()");
        handleReply(*reply, m_progress);
        EM_TRACE(5, "\nEM_SHUTDOWN         :   <- ApplicationReply()");
    });
}

unsigned CShutdownExtensionModule::OnModuleNotification(uint32_t code, uint64_t /*parameter*/,
                                                        uint64_t /*extra*/) {
    return atBoundary("OnModuleNotification()", 0U, [&] {
        const Notification* const notification = findNotification(code);
        switch (notification != nullptr ? notification->effect : NotificationEffect::None) {
        case NotificationEffect::None:
            break;
        case NotificationEffect::PowerSwitchOff:
            m_host.switchPowerSwitchEvents(false);
            return 1U;
        case NotificationEffect::PowerSwitchOn:
            m_host.switchPowerSwitchEvents(true);
            return 1U;
        case NotificationEffect::Disconnect:
            raiseDisconnectAlert();
            return 1U;
        }
        return 0U;
    });
}

// Reset before the insert: the queue sets the event once the task has run, which may be at once.
void CShutdownExtensionModule::raiseDisconnectAlert() {
    m_readyForShutdownEvent.ResetEvent();
    const std::shared_ptr<const std::atomic<uint32_t>> disconnects = m_disconnects;
    const uint32_t before = *disconnects;
    SipJson alert;
    alert.InitEnvelope();
    alert.SetOpcode(opcode::CM_Disconnect, 0, 0);
    if (!InsertTask(alert, 0, &m_readyForShutdownEvent)) {
        EM_TRACE(1, "\nEM_SHUTDOWN         : ERROR! InsertTask FAILED!");
        return;
    }
    EM_TRACE(2, "\nEM_SHUTDOWN         : Raise CM_Disconnect alert!");
    if (!awaitDisconnect(*disconnects, before)) {
        EM_TRACE(1, "\nEM_SHUTDOWN         : WARNING! TIMEOUT waiting 5 sec for ReadyForShutdown event!\n");
    }
}

// A wake-up by nobody counts as signalled, and the host would go down with its messages unsent. Between
// wake-up and count nothing of this object is touched: the destructor counts too, and may be what woke the
// thread.
bool CShutdownExtensionModule::awaitDisconnect(const std::atomic<uint32_t>& disconnects, uint32_t before) {
    const Deadline limit = Deadline::in(kReadyTimeoutMs);
    uint32_t left = kReadyTimeoutMs;
    // Asked first: the procedure may have ended, and the event been reset by another thread's alert, before
    // this one came to wait.
    while (disconnects == before && left != 0) {
        if (m_readyForShutdownEvent.WaitForEvent(left, true) == EVENT_FAILED) {
            break; // an event that could not be created: the host is told at once and not held up
        }
        left = limit.remainingMs();
    }
    return disconnects != before;
}

void CShutdownExtensionModule::OnTaskExecution(SipJson& task, int /*level*/) {
    atBoundary("OnTaskExecution()", [&] {
        const uint32_t code = task.GetUint(key::OperationCode, 0);
        if (code == opcode::CM_Disconnect) {
            atBoundary("OnTaskExecution()", [&] { runDisconnectProcedure(m_host, *this, m_pendingRequest); });
            ++*m_disconnects;
        } else if (findShutdownAction(code) != nullptr) {
            AlertSequence({m_host, m_progress, m_executor, *this, m_stop, m_delayEvent}, task).run();
        }
    });
}

} // namespace em

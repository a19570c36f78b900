// The shutdown module: the extension module that the host drives and the task queue whose handler thread
// carries out shutdowns.
#pragma once

#include <atomic>

#include "frame/envelope/sip_json.h"
#include "frame/module/extension_module.h"
#include "osshutdown/os_shutdown.h"
#include "platform/events/event_handle.h"
#include "platform/threads/thread.h"
#include "shutdown/maintenance_mode.h"
#include "shutdown/shutdown_state.h"
#include "tasks/task_serializer.h"

namespace em {

// Declares no virtual function of its own and overrides exactly one of its second base, the task execution:
// that makes it slot 24 of the primary table, behind the interface's own slots.
class CShutdownExtensionModule final : public CExtensionModule, public CTaskSerializer<SipJson> {
public:
    CShutdownExtensionModule();
    // Stops what Stop has not stopped, wakes every waiter and joins every thread before a member goes.
    ~CShutdownExtensionModule() override;

    const char* ModuleDescription() override { return "OS system shutdown handling module"; }
    const char* ModuleName() override { return "EM_SHUTDOWN"; }
    // Both always return true. Stop waits for the module's threads, and with them for a running job or host
    // request; a shutdown delay it cuts short. It does so from the moment Start was called, whatever became
    // of that call. An object that was stopped is not started again.
    bool Start() override;
    unsigned Stop() override;
    // Starts the maintenance mode watcher.
    void AfterStart() override;
    void ApplicationReply(SipJson* reply) override;
    bool HandleRequest(SipJson* request) override;
    unsigned OnModuleNotification(uint32_t code, uint64_t parameter, uint64_t extra) override;
    // On the handler thread only. Throws nothing.
    void OnTaskExecution(SipJson& task, int level) override;

private:
    friend class AlertSequence;
    friend class DisconnectProcedure;
    friend class PowerOffWorker;
    friend class MaintenanceWatcher;

    struct Answer {
        uint32_t status;
        bool handled;
    };
    struct RequestRow {
        uint32_t code;
        Answer (CShutdownExtensionModule::*answer)(SipJson&);
    };
    static const RequestRow kRequests[];

    // Messages to the host.
    void SendRequest(SipJson& envelope);
    void SendNotification(SipJson& envelope);
    void SendPowerOffReason(uint32_t reason);
    void SwitchPowerSwitchNotifications(bool enable);

    // Sets the status and tells the host, also of a value that it already had.
    void ChangeStatus(ShutdownStatus status);
    // The second half of a change: the line and the message to the host.
    void ReportStatus(ShutdownStatus status);
    // Ends a pending shutdown. On the handler thread only, which alone touches the pending request.
    void Cancel(bool notify);
    // Common to requests and replies.
    void QueueShutdown(const SipJson& envelope);

    // Requests, by operation code.
    Answer AnswerRequest(SipJson& request);
    Answer AnswerMaintenanceMode(SipJson& request);
    Answer AnswerOff(SipJson& request);
    Answer AnswerReset(SipJson& request);
    Answer AnswerCancel(SipJson& request);
    Answer AnswerHalt(SipJson& request);
    Answer AnswerStatus(SipJson& request);

    void DispatchReply(SipJson& reply);
    void RestartAgents(SipJson& reply);
    void RaiseDisconnectAlert();

    // For the module's own threads: a query that runs is cut short by Stop.
    MaintenanceMode QueryMaintenanceMode();

    // Sleeps on one of the module's events until the time is over or Stop has begun. A wake-up without Stop
    // ends the sleep only where that does no harm (wakeUps = true).
    void SleepOn(EventHandle& event, uint64_t spanMs, bool wakeUps);

    void StopThreads();
    [[nodiscard]] bool HasThreads() const;

    static void* WorkerThread(void* module);
    static void* CheckMaintenanceThreadProc(void* module);

    EventHandle m_WatcherEvent{false, false};
    EventHandle m_ReadyForShutdownEvent{true, false};
    EventHandle m_WorkerEvent{false, false};
    EventHandle m_DelayEvent{false, false}; // set by Stop only
    CThread m_Worker;
    COSShutdown m_Executor;
    SipJson m_PendingRequest; // the last shutdown request past the maintenance gate
    // Sequentially consistent on purpose: a flag first, then the event that announces it.
    std::atomic<bool> m_bStarted{false};
    std::atomic<bool> m_bStop{false};
    ShutdownState m_State;
    CThread m_Watcher;
};

} // namespace em

// The shutdown module: the extension module that the host drives and the task queue whose handler thread
// carries out shutdowns.
#pragma once

#include <atomic>
#include <memory>

#include "frame/envelope/sip_json.h"
#include "frame/module/extension_module.h"
#include "osshutdown/os_shutdown.h"
#include "platform/events/event_handle.h"
#include "platform/threads/thread.h"
#include "shutdown/host_messages.h"
#include "shutdown/shutdown_progress.h"
#include "shutdown/stop_signal.h"
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
    const char* ModuleName() override { return kModuleName; }
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
    void stopThreads();
    [[nodiscard]] bool hasThreads() const;
    // Queues the disconnect procedure and gives it five seconds.
    void raiseDisconnectAlert();
    // True when the procedure ended, once more than before, within its time.
    [[nodiscard]] bool awaitDisconnect(const std::atomic<uint32_t>& disconnects, uint32_t before);

    static void* WorkerThread(void* module);
    static void* CheckMaintenanceThreadProc(void* module);

    EventHandle m_watcherEvent{false, false};
    EventHandle m_readyForShutdownEvent{true, false};
    EventHandle m_workerEvent{false, false};
    EventHandle m_delayEvent{false, false}; // set by Stop only
    CThread m_worker;
    COSShutdown m_executor;
    SipJson m_pendingRequest; // the last shutdown request past the maintenance gate
    std::atomic<bool> m_started{false};
    // How often the disconnect procedure has ended. Shared with the host's threads that wait for it.
    std::shared_ptr<std::atomic<uint32_t>> m_disconnects = std::make_shared<std::atomic<uint32_t>>(0);
    StopSignal m_stop;
    HostMessages m_host{*this};
    ShutdownProgress m_progress{m_host, *this, m_executor, m_pendingRequest};
    CThread m_watcher;
};

} // namespace em

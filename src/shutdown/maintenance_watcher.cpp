#include "shutdown/maintenance_watcher.h"

#include <array>
#include <cstring>

#include "shutdown/operation_codes.h"
#include "shutdown/shutdown_module.h"
#include "trace/boundary.h"

namespace em {
namespace {

constexpr int32_t kPriority = 63;
constexpr unsigned kPassSeconds = 1;

} // namespace

void MaintenanceWatcher::Run() {
    EM_TRACE(2, "\nEM_SHUTDOWN         : START THREAD CheckMaintenanceThreadProc()");
    while (!m_Module.m_bStop) {
        atBoundary("CheckMaintenanceThreadProc()", [&] { Pass(); });
        Sleep();
    }
    EM_TRACE(2, "\nEM_SHUTDOWN         : EXIT THREAD CheckMaintenanceThreadProc()!");
}

void MaintenanceWatcher::Pass() {
    const MaintenanceMode mode = m_Module.QueryMaintenanceMode();
    if (mode == MaintenanceMode::CutShort) {
        return; // says nothing about the mode
    }
    if ((mode == MaintenanceMode::Enabled) != m_bEnabled) {
        EM_TRACE(5, "\nEM_SHUTDOWN         : change in maintenance mode");
        ReportChange();
    }
}

void MaintenanceWatcher::ReportChange() {
    m_bEnabled = !m_bEnabled;
    SipJson message;
    message.InitEnvelope();
    message.SetOpcode(opcode::kMaintenanceModeChanged, 0, 0);
    m_Module.SendRequest(message);
}

void MaintenanceWatcher::Sleep() {
    EM_TRACE(5, "\nEM_SHUTDOWN         : check maintenance thread sleeps %d seconds for next action",
             asInt(kPassSeconds));
    m_Module.SleepOn(m_Module.m_WatcherEvent, uint64_t{kPassSeconds} * 1000, true);
    EM_TRACE(5, "\nEM_SHUTDOWN         : check maintenance thread woke up!");
}

MaintenanceMode CShutdownExtensionModule::QueryMaintenanceMode() {
    return getMaintenanceMode(
        [](void* module) { return static_cast<CShutdownExtensionModule*>(module)->m_bStop.load(); }, this);
}

void CShutdownExtensionModule::AfterStart() {
    atBoundary("AfterStart()", [this] {
        if (SwitchShutdown()) {
            return;
        }
        EM_TRACE(3, "\n\nEM_SHUTDOWN         : start check maintenance mode thread...");
        if (m_Watcher.IsAlive() ||
            m_Watcher.Start(&CheckMaintenanceThreadProc, this, kPriority, false, 0, false, true)) {
            return;
        }
        const int error = errno;
        std::array<char, 128> text;
        EM_TRACE(
            1,
            "\n\nEM_SHUTDOWN           : ## ERROR 0x%X! Failed to start check maintenance mode thread (%s)!",
            static_cast<unsigned>(error), ::strerror_r(error, text.data(), text.size()));
    });
}

} // namespace em

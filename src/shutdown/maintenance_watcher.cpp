#include "shutdown/maintenance_watcher.h"

#include "shutdown/host_messages.h"
#include "shutdown/stop_signal.h"
#include "trace/boundary.h"

namespace em {
namespace {

constexpr unsigned kPassSeconds = 1;

} // namespace

void MaintenanceWatcher::run() {
    EM_TRACE(2, "\nEM_SHUTDOWN         : START THREAD CheckMaintenanceThreadProc()");
    while (!m_stop.isRaised()) {
        atBoundary("CheckMaintenanceThreadProc()", [&] { pass(); });
        sleep();
    }
    EM_TRACE(2, "\nEM_SHUTDOWN         : EXIT THREAD CheckMaintenanceThreadProc()!");
}

void MaintenanceWatcher::pass() {
    const MaintenanceMode mode = m_stop.queryMaintenanceMode();
    if (mode == MaintenanceMode::CutShort) {
        return; // says nothing about the mode
    }
    if ((mode == MaintenanceMode::Enabled) != m_enabled) {
        EM_TRACE(5, "\nEM_SHUTDOWN         : change in maintenance mode");
        m_enabled = !m_enabled; // before the message: one that throws is not repeated
        m_host.maintenanceModeChanged();
    }
}

void MaintenanceWatcher::sleep() {
    EM_TRACE(5, "\nEM_SHUTDOWN         : check maintenance thread sleeps %d seconds for next action",
             asInt(kPassSeconds));
    m_stop.sleepOn(m_event, uint64_t{kPassSeconds} * 1000, true);
    EM_TRACE(5, "\nEM_SHUTDOWN         : check maintenance thread woke up!");
}

} // namespace em

// Tells the host each time the hypervisor's maintenance mode changes.
#pragma once

namespace em {

class CShutdownExtensionModule;

// The body of the watcher thread: a query a second, until Stop. A mode that is already set at the start is
// reported as a change; a message that the host did not take is not repeated.
class MaintenanceWatcher {
public:
    explicit MaintenanceWatcher(CShutdownExtensionModule& module) : m_Module(module) {}
    void Run();

private:
    void Pass();
    void ReportChange();
    void Sleep();

    CShutdownExtensionModule& m_Module;
    bool m_bEnabled = false; // the last known mode
};

} // namespace em

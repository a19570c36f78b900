// The hypervisor's maintenance mode, asked of its command-line tool.
#pragma once

namespace em {

enum class MaintenanceMode {
    Disabled, // also when the tool is missing, silent or hangs
    Enabled,
    CutShort, // the caller's predicate ended the query
};

// Asks "localcli system maintenanceMode get"; enabled when its output begins with "E". Takes 30 seconds at
// most, or until the predicate, which may be null, tells to stop. Any thread, several at a time.
[[nodiscard]] MaintenanceMode getMaintenanceMode(bool (*stopped)(void*) = nullptr, void* context = nullptr);

} // namespace em

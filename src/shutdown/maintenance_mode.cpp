#include "shutdown/maintenance_mode.h"

#include "contract/places.h"
#include "contract/trace_lines.h"
#include "platform/processes/shell_query.h"
#include "trace/trace.h"

namespace em {
namespace {

constexpr uint32_t kLimitMs = 30'000;

} // namespace

MaintenanceMode getMaintenanceMode(bool (*stopped)(void*), void* context) {
    EM_TRACE(5, "\nEM_SHUTDOWN         :getMaintenanceMode()");
    const ShellAnswer answer = queryShell(place::kMaintenanceQuery, kLimitMs, stopped, context);
    if (answer.end == ShellAnswer::End::NotStarted) {
        EM_TRACE(5, "\nEM_SHUTDOWN         :ERROR - getMaintenanceMode() - popen failed");
        return MaintenanceMode::Disabled;
    }
    const bool enabled =
        answer.end == ShellAnswer::End::Answered && answer.firstCharacter == place::kMaintenanceOn;
    EM_TRACE(5, line::kGateAnswer, enabled ? "Enabled" : "Disabled");
    // Told apart behind the line: a watcher must not report a mode that nobody has seen.
    if (answer.end == ShellAnswer::End::CutShort && stopped != nullptr && stopped(context)) {
        return MaintenanceMode::CutShort;
    }
    return enabled ? MaintenanceMode::Enabled : MaintenanceMode::Disabled;
}

} // namespace em

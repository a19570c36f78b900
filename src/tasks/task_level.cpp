#include "tasks/task_level.h"

namespace em {

int levelToServe(std::span<const TaskLevel> levels) {
    // From the highest down: a higher level is always served first.
    for (size_t at = levels.size(); at > 0; --at) {
        const TaskLevel& level = levels[at - 1];
        if (level.bServiceEnabled && level.queue.holdsTask()) {
            return static_cast<int>(at - 1);
        }
    }
    return kNoLevel;
}

void setInsertEnabled(std::span<TaskLevel> levels, bool enabled) {
    for (TaskLevel& level : levels) {
        level.bInsertEnabled = enabled;
    }
}

} // namespace em

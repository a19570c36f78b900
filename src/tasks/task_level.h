// The priority levels of a task serializer: one queue each, and whether it takes and gives tasks. The queues
// are touched under the serializer's lock only, but for a first look whether one is full, the flags at any
// time. (In words: an element of the array cannot name the lock of the object that owns it.)
#pragma once

#include <atomic>
#include <cstdint>
#include <span>

#include "tasks/task_ring.h"

namespace em {

struct TaskLevel {
    TaskRing queue;
    std::atomic<bool> bInsertEnabled{false}; // a disabled level refuses tasks
    std::atomic<bool> bServiceEnabled{true}; // the handler takes tasks from this level
};

constexpr int kNoLevel = -1;

// The highest level that has a task to serve, or kNoLevel.
[[nodiscard]] int levelToServe(std::span<const TaskLevel> levels);

void setInsertEnabled(std::span<TaskLevel> levels, bool enabled);

} // namespace em

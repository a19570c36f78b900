// Turns calls that arrive on any thread into tasks that one handler thread executes one at a time, in order
// of priority. Derive from it, implement OnTaskExecution, and queue copies of messages with InsertTask.
//
// Life: tasks may be inserted from construction on and wait for StartSerialization. TerminateSerialization is
// the end: the handler may be started again, but inserts stay refused. A deriving class terminates in its own
// destructor, before members that a running task uses are gone.
//
// Locks: one recursive lock around the queues. It is held during OnTaskQueueEmpty and OnTaskQueueFull, which
// must not block and may insert, and never while a task runs or a message is copied or freed. Trace lines are
// written under it, so the host's debug object must not wait for one of the module's threads.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <span>
#include <utility>

#include "base/recursive_lock.h"
#include "platform/events/event_handle.h"
#include "platform/threads/thread.h"
#include "tasks/task_level.h"

namespace em {

// One queued task.
template <class Content>
struct TaskRecord {
    EventHandle* hExternalEvent;             // set once the task was executed; the inserter's own, or null
    Content Message;                         // a deep copy of the inserter's
    std::unique_ptr<TaskRecord> nextDropped; // links the records of a purge until they are freed
};

// Frees a list of dropped records without recursion. Their events are not set.
template <class Content>
void freeDropped(std::unique_ptr<TaskRecord<Content>> first) {
    while (first) {
        first = std::move(first->nextDropped);
    }
}

template <class Message>
class CTaskSerializer {
public:
    // Levels 0 to levels - 1; a higher one goes first. Throws only for want of memory.
    explicit CTaskSerializer(uint32_t levels = 1);
    // Terminates, and frees what is still queued.
    virtual ~CTaskSerializer();
    CTaskSerializer(const CTaskSerializer&) = delete;
    CTaskSerializer& operator=(const CTaskSerializer&) = delete;

    // The order of these virtual functions is part of the module's interface. What they throw on the handler
    // thread is traced, and the thread goes on.

    // Executes one task, on the handler thread.
    virtual void OnTaskExecution(Message& message, int level) = 0;
    // The level whose task was just executed holds no more; handler thread, under the lock.
    virtual void OnTaskQueueEmpty(int /*level*/) {}
    // The level takes no more tasks, this one was refused; the inserter's thread, under the lock. What it
    // throws reaches the inserter.
    virtual void OnTaskQueueFull(const Message& /*message*/, int /*level*/) {}
    // On the handler thread, before its first and after its last task.
    virtual void OnTaskHandlerStart() {}
    virtual void OnTaskHandlerExit() {}

    // Starts the handler thread unless it runs, and gives it 100 ms. A failure shows in the trace only.
    void StartSerialization();

    // Queues a copy of the message. The event, null or the inserter's own, is set after the task was
    // executed, and never when the task is dropped; it must outlive the queue. False when the level does not
    // exist, is disabled or is full. Any thread. Throws what copying the message and
    // OnTaskQueueFull throw.
    bool InsertTask(const Message& message, int level, EventHandle* hExternalEvent);

    // Disables and empties the queues and ends the handler thread, waiting for its task as long as that
    // takes. Called from the handler thread itself it cannot join, says so in the trace and returns.
    void TerminateSerialization();

    // From now on every insert is refused; nothing enables them again. Any thread.
    void DisableAllTasks();
    // Drops every task that waits. Any thread.
    void RemoveAllTasks();

    [[nodiscard]] bool IsHandlerAlive() const { return m_Thread.IsAlive(); }

private:
    using Record = TaskRecord<Message>;

    [[nodiscard]] std::span<TaskLevel> Levels() const {
        return {m_pLevels.get(), m_pLevels != nullptr ? m_nLevels : 0};
    }
    [[nodiscard]] bool AcceptsTasks(int level) const;
    bool RefuseLocked(int level) const;
    bool RefusedAsFull(const Message& message, int level);
    void ReportFull(const Message& message, int level) EM_REQUIRES(m_Lock);
    bool Enqueue(std::unique_ptr<Record>& record, int level) EM_REQUIRES(m_Lock);
    void RearmWakeEvent();

    static void* TaskHandlerThread(void* serializer);
    void TaskHandler();
    void AwaitTask();
    void ServeOneTask();
    std::unique_ptr<Record> TakeNextTask(int& level);
    void Execute(Record& record, int level);
    void SetExternalEvent(const Record& record);
    void ReportIfEmpty(int level);

    static std::unique_ptr<Record> Take(TaskRing& queue);
    std::unique_ptr<Record> TakeAllTasks() EM_REQUIRES(m_Lock);

    std::unique_ptr<TaskLevel[]> m_pLevels;
    RecursiveLock m_Lock;           // guards the level array and its queues
    EventHandle m_WakeEvent;        // set by each insert, reset when all queues are found empty
    CThread m_Thread;               // the handler
    uint32_t m_ThreadStackSize = 0; // bytes, 0 = the system's default
    uint32_t m_nLevels;
    std::atomic<bool> m_bTerminate{false}; // the handler ends at its next look
};

} // namespace em

#include "tasks/task_serializer_impl.h"

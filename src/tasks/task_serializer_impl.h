// Included by task_serializer.h only. The bodies of CTaskSerializer: what inserters and owners call first,
// then the handler thread.
#pragma once

#include "base/cancellation_disabled.h"
#include "base/clock.h"
#include "contract/trace_lines.h"
#include "platform/threads/thread_boundary.h"
#include "trace/table_line.h"
#include "trace/trace.h"

namespace em {

namespace task_handler {

constexpr int32_t kPriority = 83;
constexpr uint32_t kSettleMs = 100; // given to a thread to start or to end, and instead of a failed wait
constexpr uint32_t kTerminationLimitMs = 2000;

constexpr char kStartThrew[] = "\n\nCTaskSerializer     : ## EXCEPTION in OnTaskHandlerStart()! ##";
constexpr char kExitThrew[] = "\n\nCTaskSerializer     : ## EXCEPTION in OnTaskHandlerExit()! ##";
constexpr char kTaskThrew[] = "\n\nCTaskSerializer     : ## EXCEPTION in OnTaskExecution()! ##";
constexpr char kQueueEmptyThrew[] = "\n\nCTaskSerializer     : ## EXCEPTION in OnTaskQueueEmpty()! ##";

// Runs a body of the handler thread; an exception becomes the line.
template <class Body>
bool guarded(const char* line, Body&& body) {
    const bool completed = swallow(std::forward<Body>(body));
    if (!completed) {
        traceTableLine(1, line);
    }
    return completed;
}

} // namespace task_handler

template <class Message>
CTaskSerializer<Message>::CTaskSerializer(uint32_t levels)
    : m_pLevels(std::make_unique<TaskLevel[]>(levels)), m_WakeEvent(false, true), m_nLevels(levels) {
    static_cast<void>(m_Lock.SetUp()); // without a mutex the queues work unlocked
    m_Thread.SetKillAliveThread(true);
    EM_TRACE(4, "\nCTaskSerializer     : Enable all Tasks");
    setInsertEnabled(Levels(), true);
}

template <class Message>
CTaskSerializer<Message>::~CTaskSerializer() {
    TerminateSerialization();
    std::unique_ptr<Record> left;
    {
        const RecursiveLockGuard guard(m_Lock);
        left = TakeAllTasks();
        m_pLevels.reset();
    }
    freeDropped(std::move(left));
    EM_TRACE(4, "\n\nCTaskSerializer     : Class destroyed!");
    if (m_Thread.KillAliveThread()) {
        static_cast<void>(m_Thread.Kill());
    }
}

template <class Message>
void CTaskSerializer<Message>::StartSerialization() {
    EM_TRACE(4, "\nCTaskSerializer     : StartSerialization!");
    if (m_Thread.IsAlive()) {
        return;
    }
    RearmWakeEvent();
    m_bTerminate = false;
    CThread::SetThreadName(0, processTrace.value.ModuleName(), "_TaskHandler");
    static_cast<void>(m_Thread.Start(&TaskHandlerThread, this, task_handler::kPriority, false,
                                     m_ThreadStackSize, false, true));
    sleepMs(task_handler::kSettleMs);
}

// Tasks that were inserted before the start would lie until the next insert if the event were only reset.
template <class Message>
void CTaskSerializer<Message>::RearmWakeEvent() {
    const RecursiveLockGuard guard(m_Lock);
    m_WakeEvent.ResetEvent();
    if (levelToServe(Levels()) != kNoLevel) {
        m_WakeEvent.SetEvent();
    }
}

template <class Message>
bool CTaskSerializer<Message>::InsertTask(const Message& message, int level, EventHandle* hExternalEvent) {
    EM_TRACE(4, line::kTaskRaised, level);
    if (!AcceptsTasks(level)) {
        return RefuseLocked(level);
    }
    if (RefusedAsFull(message, level)) {
        return false;
    }
    std::unique_ptr<Record> record(new Record{hExternalEvent, message, nullptr});
    const RecursiveLockGuard guard(m_Lock);
    // Asked again: a task that slipped into a queue after its purge would still be executed.
    return AcceptsTasks(level) ? Enqueue(record, level) : RefuseLocked(level);
}

template <class Message>
bool CTaskSerializer<Message>::AcceptsTasks(int level) const {
    return m_pLevels != nullptr && level >= 0 && static_cast<uint32_t>(level) < m_nLevels &&
           m_pLevels[static_cast<uint32_t>(level)].bInsertEnabled;
}

template <class Message>
bool CTaskSerializer<Message>::RefuseLocked(int level) const {
    EM_TRACE(4, line::kQueueShut, level);
    return false;
}

// Looked at before the message is copied, so that a burst of requests costs no copies; without the lock
// first, so that an insert takes it once, beside a handler that takes it twice a task.
template <class Message>
bool CTaskSerializer<Message>::RefusedAsFull(const Message& message, int level) {
    const TaskRing& queue = m_pLevels[static_cast<uint32_t>(level)].queue;
    if (!queue.isFull()) {
        return false;
    }
    const RecursiveLockGuard guard(m_Lock);
    if (!queue.isFull()) {
        return false;
    }
    ReportFull(message, level);
    return true;
}

template <class Message>
void CTaskSerializer<Message>::ReportFull(const Message& message, int level) {
    EM_TRACE(1, line::kQueueFull, level);
    OnTaskQueueFull(message, level);
}

// A refused record stays with the caller, who frees it outside the lock.
template <class Message>
bool CTaskSerializer<Message>::Enqueue(std::unique_ptr<Record>& record, int level) {
    if (!m_pLevels[static_cast<uint32_t>(level)].queue.push(record.get())) {
        ReportFull(record->Message, level); // others were faster since
        return false;
    }
    static_cast<void>(record.release()); // the queue's now
    const CancellationDisabled
        whole; // a host's thread that is cancelled in the line must still wake the handler
    EM_TRACE(5, line::kTaskInserted, level);
    m_WakeEvent.SetEvent();
    return true;
}

template <class Message>
void CTaskSerializer<Message>::TerminateSerialization() {
    EM_TRACE(4, "\nCTaskSerializer     : TerminateSerialization!");
    if (m_Thread.IsAlive()) {
        DisableAllTasks();
        RemoveAllTasks();
        m_bTerminate = true;
        m_WakeEvent.SetEvent();
        sleepMs(task_handler::kSettleMs);
        static_cast<void>(m_Thread.WaitForTermination(task_handler::kTerminationLimitMs));
        static_cast<void>(m_Thread.Kill());
    }
    EM_TRACE(5, "\nCTaskSerializer     :   terminated");
}

template <class Message>
void CTaskSerializer<Message>::DisableAllTasks() {
    EM_TRACE(4, "\nCTaskSerializer     : Disable all Tasks");
    setInsertEnabled(Levels(), false);
}

template <class Message>
void CTaskSerializer<Message>::RemoveAllTasks() {
    std::unique_ptr<Record> dropped;
    {
        const RecursiveLockGuard guard(m_Lock);
        dropped = TakeAllTasks();
        EM_TRACE(4, "\nCTaskSerializer     : All pending tasks removed from queues!");
    }
    freeDropped(std::move(dropped));
}

template <class Message>
std::unique_ptr<TaskRecord<Message>> CTaskSerializer<Message>::TakeAllTasks() {
    std::unique_ptr<Record> taken;
    for (TaskLevel& level : Levels()) {
        while (std::unique_ptr<Record> record = Take(level.queue)) {
            record->nextDropped = std::move(taken);
            taken = std::move(record);
        }
        level.queue.reset();
    }
    return taken;
}

template <class Message>
std::unique_ptr<TaskRecord<Message>> CTaskSerializer<Message>::Take(TaskRing& queue) {
    return std::unique_ptr<Record>(static_cast<Record*>(queue.pop()));
}

// The handler thread.

template <class Message>
void* CTaskSerializer<Message>::TaskHandlerThread(void* serializer) {
    return runThreadBody("TaskHandler()",
                         [serializer] { static_cast<CTaskSerializer*>(serializer)->TaskHandler(); });
}

template <class Message>
void CTaskSerializer<Message>::TaskHandler() {
    EM_TRACE(4, "\nCTaskSerializer     : START THREAD TaskHandler()!");
    task_handler::guarded(task_handler::kStartThrew, [this] { OnTaskHandlerStart(); });
    do {
        AwaitTask();
        if (!m_bTerminate) {
            ServeOneTask();
        }
    } while (!m_bTerminate);
    task_handler::guarded(task_handler::kExitThrew, [this] { OnTaskHandlerExit(); });
    EM_TRACE(4, "\nCTaskSerializer     : EXIT THREAD TaskHandler()!");
}

template <class Message>
void CTaskSerializer<Message>::AwaitTask() {
    EM_TRACE(4, "\nCTaskSerializer     : Waiting on task queue for next task ...");
    if (m_WakeEvent.WaitForEvent(EVENT_WAIT_FOREVER, true) == EVENT_FAILED) {
        sleepMs(task_handler::kSettleMs); // no event to wait on: look at the queues from time to time
    }
    EM_TRACE(4, "\nCTaskSerializer     : Wakeup from (any) task queue!");
}

// One task a pass, so that the highest level is chosen afresh each time.
template <class Message>
void CTaskSerializer<Message>::ServeOneTask() {
    EM_TRACE(4, "\nCTaskSerializer     : Checking Task queue for Task records ..");
    int level = kNoLevel;
    std::unique_ptr<Record> record = TakeNextTask(level);
    if (!record) {
        return;
    }
    Execute(*record, level);
    SetExternalEvent(*record);
    record.reset();
    ReportIfEmpty(level);
}

// Null when all queues are empty. The event is reset under the lock: an insert can only set it afterwards, so
// none is lost.
template <class Message>
std::unique_ptr<TaskRecord<Message>> CTaskSerializer<Message>::TakeNextTask(int& level) {
    const RecursiveLockGuard guard(m_Lock);
    level = levelToServe(Levels());
    if (level == kNoLevel) {
        m_WakeEvent.ResetEvent();
        return nullptr;
    }
    return Take(m_pLevels[static_cast<uint32_t>(level)].queue);
}

template <class Message>
void CTaskSerializer<Message>::Execute(Record& record, int level) {
    // The lines count as the task's own: one that throws shows as its exception, and the task runs all the
    // same.
    task_handler::guarded(task_handler::kTaskThrew, [&] {
        EM_TRACE_OR_THROW(5, "\nCTaskSerializer     : Process Task (Record 0x%X) at level %d",
                          asUnsigned(&record), level);
    });
    if (!task_handler::guarded(task_handler::kTaskThrew, [&] { OnTaskExecution(record.Message, level); })) {
        return;
    }
    task_handler::guarded(task_handler::kTaskThrew, [&] {
        EM_TRACE_OR_THROW(5, "\nCTaskSerializer     : Task (Record 0x%X) at level %d completed",
                          asUnsigned(&record), level);
    });
}

template <class Message>
void CTaskSerializer<Message>::SetExternalEvent(const Record& record) {
    EventHandle* const event = record.hExternalEvent;
    if (event == nullptr) {
        return;
    }
    const bool noException = swallow([event] {
        if (event->SetEvent()) {
            EM_TRACE(5, "\nCTaskSerializer     : External event object 0x%X set!", asUnsigned(event));
        } else {
            EM_TRACE(1, "\nCTaskSerializer     : ERROR setting external event object 0x%X!",
                     asUnsigned(event));
        }
    });
    if (!noException) {
        EM_TRACE(1, "\n\nCTaskSerializer     : ## EXCEPTION setting external event object 0x%X!",
                 asUnsigned(event));
    }
}

template <class Message>
void CTaskSerializer<Message>::ReportIfEmpty(int level) {
    const RecursiveLockGuard guard(m_Lock);
    if (m_pLevels[static_cast<uint32_t>(level)].queue.isEmpty()) {
        task_handler::guarded(task_handler::kQueueEmptyThrew, [this, level] { OnTaskQueueEmpty(level); });
    }
}

} // namespace em

// A POSIX thread that reports each step of its life through the trace.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace em {

class DetachedThread;

// A member of its owner, who drives it from one thread at a time; the handle may be read from any. The
// destructor waits for nothing: the owner joins first. No operation lets an exception out, and a trace line
// that throws is dropped; only the forced unwind of a cancelled caller passes.
class CThread {
public:
    using Routine = void* (*)(void*);

    CThread();
    ~CThread();
    CThread(const CThread&) = delete;
    CThread& operator=(const CThread&) = delete;

    // Starts a thread at the routine (see thread_boundary.h): joinable when waitable, else detached. A
    // priority other than 0 is set, with the round-robin policy, in the thread's attribute; since the
    // attribute keeps inheriting, the thread runs with its creator's scheduling. Suspend, stack size (bytes)
    // and reserved are not applied. False on failure: errno then holds the error number, and what was
    // recorded before stays.
    bool Start(Routine routine, void* argument, int32_t prio, bool suspend, uint32_t stackSize, bool reserved,
               bool waitable);

    // Joins the thread. A finite limit (ms) is warned about and not kept. True also when there is no thread;
    // false for a detached thread and when the join fails (the caller is that thread).
    bool WaitForTermination(uint32_t timeoutMs);

    // Joins a joinable thread, never cancels it; cancels a detached one. False when there is no thread, and
    // when joining or cancelling fails.
    bool Kill();

    // Joins a recorded joinable thread, without a line; nothing when there is none.
    void JoinSilently();

    // Writes a line only; nothing gets that name.
    static void SetThreadName(pthread_t thread, const char* debugName, const char* qualifier);

    // Whether the recorded thread still runs.
    [[nodiscard]] bool IsAlive() const;
    // The running or last started thread, 0 = none. The thread itself uses pthread_self: its first line may
    // run before the handle is stored here.
    [[nodiscard]] pthread_t Handle() const { return m_handle; }

    // When set, Start kills a recorded thread first.
    void SetKillAliveThread(bool kill) { m_killAliveThread = kill; }
    [[nodiscard]] bool KillAliveThread() const { return m_killAliveThread; }

private:
    int Create(const pthread_attr_t& attributes, Routine routine, void* argument, bool waitable);
    int Join(void** value);
    bool KillJoinable();
    bool KillDetached();

    std::atomic<pthread_t> m_handle{0};
    bool m_killAliveThread = false;
    bool m_waitable = false;
    std::shared_ptr<DetachedThread> m_detached; // of a detached thread
};

} // namespace em

#include "platform/threads/thread.h"

#include <cerrno>
#include <utility>

#include "base/system.h"
#include "platform/threads/detached_thread.h"
#include "trace/trace.h"

namespace em {
namespace {

constexpr uint32_t kForever = 0xFFFFFFFF;

// Sets the round-robin policy and the priority. The inherit flag stays: a real-time thread would be a change
// of behaviour on every installation. Returns the error number.
int setPriority(pthread_attr_t& attributes, int32_t prio) {
    if (const int error = sys::pthread_attr_setschedpolicy(&attributes, SCHED_RR)) {
        EM_TRACE(2, "\npthread_attr_setschedpolicy failed: %d", error);
        return error;
    }
    sched_param parameter{};
    if (const int error = sys::pthread_attr_getschedparam(&attributes, &parameter)) {
        EM_TRACE(2, "\npthread_attr_getschedparam failed: %d", error);
        return error;
    }
    parameter.sched_priority = prio;
    if (const int error = sys::pthread_attr_setschedparam(&attributes, &parameter)) {
        EM_TRACE(2, "\npthread_attr_setschedparam failed: error=%d priority=%d", error, prio);
        return error;
    }
    return 0;
}

// The attribute is not destroyed after use: it holds no memory as long as no affinity and no signal mask is
// set in it. Returns the error number.
int prepare(pthread_attr_t& attributes, int32_t prio, bool waitable) {
    if (const int error = sys::pthread_attr_init(&attributes)) {
        EM_TRACE(2, "\npthread_attr_init failed: %d", error);
        return error;
    }
    EM_TRACE(4, "\npthread_attr_init: %d", 0);
    if (!waitable) {
        if (const int error = sys::pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED)) {
            EM_TRACE(2, "\npthread_attr_setdetachstate failed: %d", error);
            return error;
        }
    }
    EM_TRACE(2, "\nThreadPrio=%d", prio);
    return prio != 0 ? setPriority(attributes, prio) : 0;
}

} // namespace

CThread::CThread() = default;
CThread::~CThread() = default;

bool CThread::Start(Routine routine, void* argument, int32_t prio, bool suspend, uint32_t stackSize,
                    bool /*reserved*/, bool waitable) {
    EM_TRACE(5,
             "\nCThread::Start: Start a thread, Prio=%d, Suspend=%d, StackSize=0x%08x, Waitable=%d, "
             "KillAliveThread=%d",
             prio, suspend, stackSize, waitable, m_killAliveThread);
    // The thread before this one, which the object still describes, goes first.
    if (m_killAliveThread) {
        static_cast<void>(Kill());
    }
    pthread_attr_t attributes;
    int error = prepare(attributes, prio, waitable);
    if (error == 0) {
        error = Create(attributes, routine, argument, waitable);
    }
    if (error != 0) {
        errno = error;
        return false;
    }
    EM_TRACE(2, "\nCThread::Start: thread=0x%08X created, Prio=%d, Waitable=%d, StackSize=0x%x",
             asUnsigned(m_handle), prio, waitable, stackSize);
    // So that the new thread runs promptly.
    static_cast<void>(sys::sched_yield());
    return true;
}

// Records the new thread only once there is one: until then the object describes the one before.
int CThread::Create(const pthread_attr_t& attributes, Routine routine, void* argument, bool waitable) {
    std::shared_ptr<DetachedThread> detached;
    int error = 0;
    if (!waitable) {
        detached = DetachedThread::make(routine, argument);
        error = detached ? 0 : ENOMEM;
    }
    pthread_t thread{};
    if (error == 0) {
        error = detached ? sys::pthread_create(&thread, &attributes, &DetachedThread::run, detached.get())
                         : sys::pthread_create(&thread, &attributes, routine, argument);
    }
    if (error != 0) {
        if (detached) {
            detached->abandon();
        }
        EM_TRACE(2, "\npthread_create failed: %d", error);
        return error;
    }
    m_detached = std::move(detached);
    m_waitable = waitable;
    m_handle = thread;
    return 0;
}

// A join has no time limit, and an end that is not joined may still be running our code: the limit is named
// in the trace and not kept.
bool CThread::WaitForTermination(uint32_t timeoutMs) {
    const pthread_t thread = m_handle;
    if (thread == 0) {
        EM_TRACE(1, "\nCThread::WaitForTermination: Thread = 0x0%08X doesn't exist !", 0U);
        return true;
    }
    if (timeoutMs < kForever) {
        EM_TRACE(1,
                 "\nCThread::WaitForTermination: WARNING: can't wait for Thread = 0x%08X termination "
                 "with timeout",
                 asUnsigned(thread));
    }
    if (!m_waitable) {
        EM_TRACE(1, "\nCThread::WaitForTermination: WARNING: Can't wait for detached thread 0x%08X",
                 asUnsigned(thread));
        return false;
    }
    void* value = nullptr;
    if (const int error = Join(&value)) {
        EM_TRACE(1, "\nCThread::WaitForTermination: ERROR ! ThreadJoin failed, Thread = 0x%08X, Err = 0x%08x",
                 asUnsigned(thread), static_cast<unsigned>(error));
        return false;
    }
    EM_TRACE(1, "\nCThread::WaitForTermination: a joinable Thread = 0x%08X has terminated, pstat=%p",
             asUnsigned(thread), value);
    return true;
}

bool CThread::Kill() {
    const pthread_t thread = m_handle;
    EM_TRACE(1, "\nCThread::Kill: Try to kill the Thread = 0x%08X", asUnsigned(thread));
    if (thread == 0) {
        EM_TRACE(1, "\nCThread::Kill: Thread = 0x0%08X doesn't exist !", 0U);
        return false;
    }
    return m_waitable ? KillJoinable() : KillDetached();
}

// Never cancelled: a thread that ends inside a host call would leave the host's locks taken. It is waited
// for.
bool CThread::KillJoinable() {
    const pthread_t thread = m_handle;
    EM_TRACE(1, "\nCThread::Kill: Try to join a joinable Thread = 0x%08X", asUnsigned(thread));
    void* value = nullptr;
    if (const int error = Join(&value)) {
        EM_TRACE(1, "\nCThread::Kill: ERROR ! ThreadJoin failed, Thread = 0x%08X, Err = 0x%08x",
                 asUnsigned(thread), static_cast<unsigned>(error));
        return false;
    }
    EM_TRACE(1, "\nCThread::Kill: a joinable Thread = 0x%08X has terminated, pstat=%p", asUnsigned(thread),
             value);
    return true;
}

// What ended is not cancelled: the system has forgotten its id, and may have given it to another thread.
bool CThread::KillDetached() {
    const pthread_t thread = m_handle;
    EM_TRACE(1, "\nCThread::Kill: Try to kill a non-joinable Thread = 0x0%08X", asUnsigned(thread));
    if (m_detached->hasEnded()) {
        m_handle = 0;
        return true;
    }
    EM_TRACE(2, "\nCThread::Kill: Killing a non-joinable thread 0x%08X", asUnsigned(thread));
    const int error = m_detached->cancel(thread);
    m_handle = 0;
    if (error != 0) {
        EM_TRACE(2, "\nCThread::Kill: unable to cancel a non-joinable thread 0x%08X (err = 0x%08x)",
                 asUnsigned(thread), static_cast<unsigned>(error));
        return false;
    }
    EM_TRACE(2, "\nCThread::Kill: a non-joinable thread 0x%08X cancel invoked", asUnsigned(thread));
    return true;
}

// A thread is asked about as long as its handle is there, so the handle goes in the call that joins.
int CThread::Join(void** value) {
    const int error = sys::pthread_join(m_handle, value);
    if (error == 0) {
        m_handle = 0;
    }
    return error;
}

void CThread::JoinSilently() {
    if (m_handle != 0 && m_waitable) {
        static_cast<void>(Join(nullptr));
    }
}

void CThread::SetThreadName(pthread_t thread, const char* debugName, const char* qualifier) {
    EM_TRACE(1, "CThread::SetThreadName: ThreadId = 0x%08X, DebugName = %s, Qualifier = (%s)\n",
             asUnsigned(thread), textOr(debugName), textOr(qualifier));
}

bool CThread::IsAlive() const {
    const pthread_t thread = m_handle;
    if (thread == 0) {
        return false;
    }
    if (!m_waitable) {
        return !m_detached->hasEnded();
    }
    // Until it has ended the system knows it; an ended one that nobody has joined may count as gone.
    int policy = 0;
    sched_param parameter{};
    return sys::pthread_getschedparam(thread, &policy, &parameter) == 0;
}

} // namespace em

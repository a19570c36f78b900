// How far the module's shutdown has come: every change of its status, each told to the host.
// Why: docs/decisions/scheduled-request-clears-cancel.md
#pragma once

#include "shutdown/shutdown_state.h"

namespace em {

class COSShutdown;
class HostMessages;
struct SipJson;
template <class Message>
class CTaskSerializer;
using TaskQueue = CTaskSerializer<SipJson>;

// Of what the executor shows when a shutdown begins, and when it is off.
inline constexpr char kShutdownTitle[] = "Automatic System Shutdown";

// Any thread, but for what says otherwise. What a step throws, for want of memory, passes through.
class ShutdownProgress {
public:
    // All of them outlive it. The pending request is the last one past the maintenance gate; the task handler
    // thread alone touches it.
    ShutdownProgress(HostMessages& host, TaskQueue& queue, COSShutdown& executor, SipJson& pendingRequest)
        : m_host(host), m_queue(queue), m_executor(executor), m_pendingRequest(pendingRequest) {}

    [[nodiscard]] ShutdownStatus status() const { return m_state.status(); }
    [[nodiscard]] bool isCancelled() const { return m_state.isCancelled(); }

    // A request or reply: status 1, the cancel flag cleared, a copy queued. A refused insert has its own
    // line. Where the copy cannot be made, status and flag become what they were, and the host is told so
    // where memory allows; the same, without a word, where the host cancels its thread in here.
    void queue(const SipJson& request);
    // One of the module's own: no status before the task handler takes it up, and a pending one keeps its
    // cancel.
    void queueScheduled(const SipJson& request);
    // The host's cancel. One that comes too early or too late shows in the trace only.
    void cancel();

    // On the task handler thread only.
    void begin(const SipJson& request); // past the gate: status 2
    void abort(bool notifyToo);         // ends a pending shutdown: status 5
    void finish();                      // status 3: no longer cancellable

private:
    void announceAndQueue(const SipJson& request);
    // Sets the status and tells the host, also of a value that it already had.
    void change(ShutdownStatus status);

    HostMessages& m_host;
    TaskQueue& m_queue;
    COSShutdown& m_executor;
    SipJson& m_pendingRequest;
    ShutdownState m_state;
};

} // namespace em

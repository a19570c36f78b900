// Ends the operating system: the privilege check, the command, and the job before it.
// Why: docs/decisions/hard-shutdown-thread.md
#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "base/recursive_lock.h"
#include "platform/events/event_handle.h"
#include "platform/threads/thread.h"

namespace em {

// A member of the shutdown module. Its operations run on one thread at a time, throw nothing, and start
// commands that outlive the object.
class COSShutdown {
public:
    COSShutdown();
    ~COSShutdown(); // waits for the hard-shutdown thread
    COSShutdown(const COSShutdown&) = delete;
    COSShutdown& operator=(const COSShutdown&) = delete;

    // Starts the command of that kind (ShutdownKind) and leaves "/" as the process's working directory.
    // False without root's real user id, and for want of memory. True says neither that the command
    // could be started nor what became of it. With a force delay (seconds, 0 = none) a thread announces the
    // forced command. The message is not used.
    bool SystemShutdown(uint32_t kind, uint32_t forceDelaySeconds, const char* message);

    // runCommand by codes: 0 = started and, if waited for, ended; 1 = the limit ran out; -1 = anything else.
    int32_t ExecuteCmd(const char* command, uint32_t timeoutSeconds);
    // See runJob.
    bool RunShutdownJob(const char* path, const char* directory, uint32_t timeoutSeconds);

    // Nothing is shown to anybody: each writes two lines.
    void DisplayShutdownAction(const char* title, const char* text);
    void AbortShutdownAction(const char* title, const char* text);

    // The hard-shutdown thread's start routine; it does nothing for null.
    static void* HardShutdown(void* executor);

private:
    [[nodiscard]] bool EndSystem(uint32_t kind, uint32_t forceDelaySeconds);
    void StartHardShutdown(uint32_t kind, uint32_t forceDelaySeconds);
    void AnnounceHardShutdown() const;

    // Destroyed in reverse order, which is part of the executor's contract.
    uint32_t m_nForceDelay = 0;   // seconds; written while no hard-shutdown thread runs
    uint32_t m_nShutdownKind = 0; // likewise
    RecursiveLock m_Lock;
    EventHandle m_Event;
    CThread m_HardShutdownThread;
    std::atomic<bool> m_bTerminate{false};
    std::string m_strTitle;
};

} // namespace em

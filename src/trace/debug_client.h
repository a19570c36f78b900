// The process's trace object. It writes nowhere itself: lines go to the host's debug object, the global
// symbol "Debug", and lines of level 0 to the system log as well.
#pragma once

#include <cstdarg>

#include "base/never_destroyed.h"
#include "trace/debug_trace_config.h"

namespace em {

class CDebugClient final : public CDebugTraceConfig {
public:
    constexpr CDebugClient() = default;

    // Writes a line when its level is not above the configured one. Does not test Enabled(): callers do. What
    // the host's debug object throws passes through. Leaves errno alone. Any thread.
    virtual void Trace(uint32_t level, const char* format, ...) __attribute__((format(printf, 3, 4)));
    // Always write, also while tracing is off; no level, no look for newer settings, no system log. What the
    // host's debug object throws is dropped.
    virtual void Print(const char* format, ...) __attribute__((format(printf, 2, 3)));
    virtual void PrintTagged(uint64_t ignored, const char* format, ...) __attribute__((format(printf, 3, 4)));

    // As Trace, but a line that cannot be written is dropped: an exception ends here, the forced unwind of a
    // cancelled thread passes. Out of line, so that the callers stay small.
    void TraceQuietly(uint32_t level, const char* format, ...) __attribute__((format(printf, 3, 4)));

private:
    void Write(uint32_t level, int error, const char* format, va_list arguments)
        __attribute__((format(printf, 4, 0)));
    void PrintQuietly(const char* format, va_list arguments) __attribute__((format(printf, 2, 0)));
    void* LookUpHostDebug();
    void HandToHost(unsigned slot, const char* format, va_list arguments)
        __attribute__((format(printf, 3, 0)));

    std::atomic<void*> m_hostDebug{nullptr}; // kept for good once found
};

// Built at compile time, configured by the library's load-time initialiser.
extern constinit NeverDestroyed<CDebugClient> processTrace;

} // namespace em

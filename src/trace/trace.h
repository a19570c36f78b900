// How a component writes a trace line.
// Why: docs/decisions/trace-macro.md
#pragma once

#include "trace/debug_client.h"

namespace em {

// One test; the level is Trace's own business, since it looks for newer settings first.
inline bool traceEnabled() {
    return processTrace.value.Enabled();
}

// Whether a line of this level will be written, newer settings included: asked before an argument that costs
// something is made.
inline bool traceWillWrite(uint32_t level) {
    return traceEnabled() && processTrace.value.WillWrite(level);
}

// For "%s": never a null pointer.
inline const char* textOr(const char* text, const char* instead = "") {
    return text != nullptr ? text : instead;
}

// For "%d" and "%X": the low 32 bits of what the format cannot show whole.
inline int asInt(uint64_t value) {
    return static_cast<int>(static_cast<uint32_t>(value));
}
inline unsigned asUnsigned(uint64_t value) {
    return static_cast<unsigned>(value);
}
inline unsigned asUnsigned(const void* pointer) {
    return asUnsigned(reinterpret_cast<uintptr_t>(pointer));
}

} // namespace em

// A line of that level, printf-like. A macro, so that a switched-off trace evaluates no argument and the
// compiler still checks the format. No outcome hangs on a line: what the host's debug object throws is
// dropped.
#define EM_TRACE(level, ...)                                                                                 \
    do {                                                                                                     \
        if (em::traceEnabled()) {                                                                            \
            em::processTrace.value.TraceQuietly(level, __VA_ARGS__);                                         \
        }                                                                                                    \
    } while (false)

// The same, but what the host's debug object throws passes on: for the few lines whose failure is part of
// what the module does.
#define EM_TRACE_OR_THROW(level, ...)                                                                        \
    do {                                                                                                     \
        if (em::traceEnabled()) {                                                                            \
            em::processTrace.value.Trace(level, __VA_ARGS__);                                                \
        }                                                                                                    \
    } while (false)

// The boundary that no exception crosses: exports, slots, thread bodies and calls into the host.
// Why: docs/decisions/exception-boundaries.md
#pragma once

#include <utility>

#include "base/swallow.h"
#include "contract/trace_lines.h"
#include "trace/trace.h"

namespace em {

// Runs the body; an exception becomes one line with the operation's name. Returns false when the body threw.
template <class Body>
bool atBoundary(const char* operation, Body&& body) {
    if (swallow(std::forward<Body>(body))) {
        return true;
    }
    EM_TRACE(1, line::kException, operation);
    return false;
}

// The same for an operation with a result.
template <class Result, class Body>
Result atBoundary(const char* operation, Result onException, Body&& body) {
    Result result = onException;
    return atBoundary(operation, [&] { result = body(); }) ? result : onException;
}

} // namespace em

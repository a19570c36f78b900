// Runs a body and keeps its exceptions in. The forced unwind of a cancelled thread is no exception of ours: a
// host may cancel its own thread inside the module, and swallowing that ends the process, so it always passes
// on.
// Why: docs/decisions/exception-boundaries.md
#pragma once

#include <cxxabi.h>

#include <utility>

namespace em {

// Returns false when the body threw. Not checked for undefined behaviour: the runtime catches a forced
// unwind by a reference to nothing.
template <class Body>
__attribute__((no_sanitize("undefined"))) bool swallow(Body&& body) {
    try {
        std::forward<Body>(body)();
        return true;
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        return false;
    }
}

} // namespace em

// The two places that catch whatever a body throws. The forced unwind of a cancelled thread is no exception
// of ours: a host may cancel its own thread inside the module, and swallowing that ends the process, so it
// always passes on. Neither is checked for undefined behaviour: the runtime catches a forced unwind by a
// reference to nothing.
// Why: docs/decisions/exception-boundaries.md
#pragma once

#include <cxxabi.h>

#include <utility>

namespace em {

// Keeps the body's exceptions in. Returns false when it threw.
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

// Lets an exception pass, behind `react`, which must not throw. A forced unwind passes without it.
template <class Body, class Reaction>
__attribute__((no_sanitize("undefined"))) void onException(Body&& body, Reaction&& react) {
    try {
        std::forward<Body>(body)();
    } catch (abi::__forced_unwind&) {
        throw;
    } catch (...) {
        std::forward<Reaction>(react)();
        throw;
    }
}

} // namespace em

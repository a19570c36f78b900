// Storage for a process-wide object that is built at compile time and whose destructor never runs, so that a
// thread that outlives the tear-down still finds it, switched off.
// Why: docs/decisions/process-wide-objects.md
#pragma once

namespace em {

template <class T>
union NeverDestroyed {
    T value;

    constexpr NeverDestroyed() : value() {}
    constexpr ~NeverDestroyed() {}
    NeverDestroyed(const NeverDestroyed&) = delete;
    NeverDestroyed& operator=(const NeverDestroyed&) = delete;
};

} // namespace em

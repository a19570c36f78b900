// The proof that stands in front of reboot(2): that it ends the sandbox's own process namespace, and that it
// can reach nothing else.
#pragma once

#include <functional>
#include <string>

namespace volad_dev {

struct RebootFacts {
    std::string guard;   // what the guard of this sandbox finds wrong, empty when it is in force
    std::string present; // the process namespace of this process, "pid:[NUMBER]"; empty: it cannot be told
    std::string marked;  // the launcher's, as its marker names it; empty: it cannot be told
    // Asked last, since it is a reboot(2) itself: errno of RB_DISABLE_CAD, 0 when it was done.
    std::function<int()> disableKeys;
};

// Why reboot(2) may not be called, empty when it may.
[[nodiscard]] std::string rebootFault(const RebootFacts& facts);

} // namespace volad_dev

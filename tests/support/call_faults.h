// Makes one call of the system seam fail on one thread, the n-th of its name, n = 1, 2, 3 ... until a run
// makes fewer. By name and thread, so that a run repeats what another thread or a child's timing would shift.
// Allocations by operator new are calls too, where the program has it replaced (shutdown/failing_new.cpp).
// Which calls may fail, and in which ways, is one table.
#pragma once

#include <string>
#include <vector>

namespace em::test {

struct CallFault {
    int thread = 0; // fake::threadNumber()
    std::string call;
    int nth = 0; // from 1; 0: none fails
    int error = 0;
    bool stays = false; // all from the n-th on fail

    // "1:openat:2:ENOSPC", with a "+" behind it where it stays.
    [[nodiscard]] std::string shown() const;
    // Throws std::invalid_argument.
    static CallFault parse(const std::string& text);
};

// The errors that a call may give, fake::kShort and fake::kStray among them.
[[nodiscard]] std::vector<int> errorsOf(const std::string& call);
// Whether the error may be given again and again: not where it means "try again".
[[nodiscard]] bool mayStay(int error);

// One at a time; the calls from its construction to its end count.
class CallFaultScope {
public:
    explicit CallFaultScope(const CallFault& fault);
    ~CallFaultScope();
    CallFaultScope(const CallFaultScope&) = delete;
    CallFaultScope& operator=(const CallFaultScope&) = delete;
};

// What the last scope saw: whether the fault came, which calls that may fail were made on its thread, and one
// that stands in no table.
struct CallFaultResult {
    bool failed = false;
    std::vector<std::string> made;
    std::string unknown;
};
[[nodiscard]] CallFaultResult lastCallFault();

// "ENOMEM", "short", "stray".
[[nodiscard]] std::string nameOfError(int error);

} // namespace em::test

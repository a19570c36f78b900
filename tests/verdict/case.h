// A case of the kernel's verdict: a host and what it does with the module, and what is to become of the
// machine, in whose place the sandbox stands.
#pragma once

#include <string>
#include <vector>

#include "host/sandbox/sandbox_options.h"
#include "module/loaded_module.h"

namespace em::test {

enum class Becomes { Off, Reset, Halted, StaysUp };

inline void nothing() {}
inline void noAnswers(HostedModule& /*module*/) {}

// What is not as usual.
struct Situation {
    void (*prepare)(HostedModule&) = noAnswers; // before the module's start
    void (*stand)() = nothing;                  // how the process stands before it loads the module
    volad_dev::Maintenance maintenance = volad_dev::Maintenance::On;
    unsigned uid = 0;
    const char* job = "";     // what the job must have noted by then, and nothing else
    double seconds = 0;       // so many at least lie between the host's note and the command
    const char* refused = ""; // what keeps the ender from its call, where it is started and the sandbox stays
};

struct Case {
    const char* name;
    Becomes becomes;
    // Behind the module's start. Returns whether the module got where this case wants it: one that stays up
    // does so for this reason and no other.
    bool (*walk)(HostedModule&);
    Situation in = {};
};

[[nodiscard]] const std::vector<Case>& cases();

// What the inner half leaves in the scratch directory, beside the notes of the commands.
inline constexpr const char* kJobNote = "job.note";
inline constexpr const char* kHostNote = "host.note"; // seconds on the monotonic clock

// The half inside the sandbox: the host, from before the load to behind EM_Delete and the end of every child.
// Returns an exit code. A machine that is to go off never sees it.
[[nodiscard]] int playHost(const Case& played);

// The half outside: runs them, some at a time, and prints a line for each. Whether all became what they are
// to.
[[nodiscard]] bool judge(const std::vector<const Case*>& judged);

} // namespace em::test

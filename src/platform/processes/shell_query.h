// Asks a command line through the shell for the first character of its output, as popen would, but bounded.
// Why: docs/decisions/bounded-maintenance-query.md
#pragma once

#include <cstdint>

namespace em {

struct ShellAnswer {
    enum class End {
        Answered,
        NotStarted, // no pipe or no process
        CutShort,   // the limit passed or the caller stopped it; its process group was killed
    } end;
    int firstCharacter = -1; // -1 = no output
};

// Runs "/bin/sh -c command" in a process group of its own, reads one character, waits for the shell's end and
// collects it; its exit status is not examined. Within a tenth of a second of `stopped` (null: never) telling
// so, and after limitMs, the whole group is killed. Any thread; costs what popen and pclose cost.
[[nodiscard]] ShellAnswer queryShell(const char* command, uint32_t limitMs, bool (*stopped)(void*),
                                     void* context);

} // namespace em

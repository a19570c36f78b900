// What a caller may choose about the sandbox.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace volad_dev {

// What the maintenance tool says when the scratch directory holds nothing else for it to say.
enum class Maintenance { On, Off, ToolMissing };

// The standard three aside, the only descriptors that a command finds open.
inline constexpr int kFirstPassedFd = 10;

struct SandboxOptions {
    unsigned uid = 0; // inside; 0 is root without any capability
    Maintenance maintenance = Maintenance::On;
    bool serviceManager = false; // whether "/usr/bin/systemctl" is there: the recorder, never the real one
    std::string scratch;         // writable directory of the machine; empty: in memory, gone at the end
    std::vector<std::string> readOnly;    // further directories or files, bound at their own paths
    std::vector<std::string> environment; // "NAME=value", in addition to what is let through
    // The terminal's signals do not reach the command, and it cannot type into the caller's shell, which
    // whoever has the terminal for its own may. A shell in there has no job control then.
    bool ownSession = false;
    bool defaultSignals = false;  // nothing is ignored or blocked inside, whatever the caller ignores
    std::vector<int> descriptors; // come up inside as kFirstPassedFd and those that follow
    std::array<int, 3> standard = {0, 1, 2}; // what becomes standard input, output and error inside
};

} // namespace volad_dev

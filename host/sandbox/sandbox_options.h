// What a caller may choose about the sandbox.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "host/sandbox/sandbox_mode.h"

namespace volad_dev {

// What the maintenance tool says when the scratch directory holds nothing else for it to say.
enum class Maintenance { On, Off, ToolMissing };

constexpr const char* nameOf(Maintenance maintenance) {
    return maintenance == Maintenance::On ? "on" : maintenance == Maintenance::Off ? "off" : "missing";
}

// The standard three aside, the only descriptors that a command finds open.
inline constexpr int kFirstPassedFd = 10;

// A path that is shown without anybody having named it as an option: whose it is, for a refusal to tell.
struct NeededPath {
    std::string whose;
    std::string path;
};

struct SandboxOptions {
    SandboxMode mode = SandboxMode::Recording;
    unsigned uid = 0;      // inside; 0 is root without any capability
    bool asNobody = false; // started by root, give up root for good first: no process inside owns its files
    Maintenance maintenance = Maintenance::On;
    bool serviceManager = false; // whether "/usr/bin/systemctl" is there: the recorder, never the real one
    std::string scratch;         // writable directory of the machine; empty: in memory, gone at the end
    uint64_t size = uint64_t{256} << 20;  // bytes that each writable place in memory may hold, all copies too
    std::vector<std::string> readOnly;    // further directories or files, bound at their own paths
    std::vector<NeededPath> needed;       // the same, for what runs inside
    std::vector<std::string> copies;      // the same, but writable: private copies, gone at the end
    std::string path;                     // PATH inside; empty: the service's, else the default
    std::vector<std::string> service;     // "NAME=value", a service's environment; its PATH counts as above
    std::vector<std::string> environment; // "NAME=value", in addition to what is let through; wins
    // The terminal's signals do not reach the command, and it cannot type into the caller's shell, which
    // whoever has the terminal for its own may. A shell in there has no job control then.
    bool ownSession = false;
    bool defaultSignals = false;  // nothing is ignored or blocked inside, whatever the caller ignores
    std::vector<int> descriptors; // come up inside as kFirstPassedFd and those that follow
    std::array<int, 3> standard = {0, 1, 2}; // what becomes standard input, output and error inside
};

} // namespace volad_dev

// What a caller may choose about the sandbox.
#pragma once

#include <string>
#include <vector>

namespace volad_dev {

// What the maintenance tool says when the scratch directory holds nothing else for it to say.
enum class Maintenance { On, Off, ToolMissing };

struct SandboxOptions {
    unsigned uid = 0; // inside; 0 is root without any capability
    Maintenance maintenance = Maintenance::On;
    bool serviceManager = false; // whether "/usr/bin/systemctl" is there: the recorder, never the real one
    std::string scratch;         // writable directory of the machine; empty: in memory, gone at the end
    std::vector<std::string> readOnly;    // further directories or files, bound at their own paths
    std::vector<std::string> environment; // "NAME=value", in addition to what is let through
    bool interruptible = true;            // false: SIGINT and SIGTERM reach only the command inside
};

} // namespace volad_dev

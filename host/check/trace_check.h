// The trace's configuration: which files are taken, what they give, and what in them is not read as it looks.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/check/machine_root.h"
#include "host/check/surroundings.h"
#include "host/files/findings.h"

namespace volad_dev {

// A number and where it comes from: a file, a variable, or nothing.
struct TraceNumber {
    uint32_t value = 0;
    std::string source;
};

struct TraceConfiguration {
    TraceNumber level;              // as at the load
    TraceNumber interval;           // seconds between two looks for newer files, 0 = none
    std::vector<std::string> files; // that are looked at, in this order
    std::string section;            // the file that has the module's section, empty for none
    std::vector<Finding> findings;
};

[[nodiscard]] TraceConfiguration checkTrace(const MachineRoot& root, const Surroundings& host);

} // namespace volad_dev

// The message file: which one is taken, and what is wrong with it.
#pragma once

#include <string>
#include <vector>

#include "host/check/machine_root.h"
#include "host/check/surroundings.h"
#include "host/files/findings.h"

namespace volad_dev {

struct MessageFile {
    std::string path; // that is taken; empty: none
    std::vector<Finding> findings;
};

// Searches as the module does, in the registry that readStore has read.
[[nodiscard]] MessageFile checkMessages(const MachineRoot& root, const Surroundings& host);

} // namespace volad_dev

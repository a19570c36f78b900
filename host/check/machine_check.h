// The machine: shell, power commands, the gate's tool, what the agents' restart needs.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/check/machine_root.h"
#include "host/check/surroundings.h"
#include "host/files/findings.h"

namespace volad_dev {

struct MachineLook {
    std::vector<std::string> programs;   // that root would run
    std::optional<std::string> gateTool; // the one that the gate asks
    std::vector<Finding> findings;
};

[[nodiscard]] MachineLook checkMachine(const MachineRoot& root, const Surroundings& host);

} // namespace volad_dev

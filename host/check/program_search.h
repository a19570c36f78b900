// Programs as the host's shell finds them.
#pragma once

#include <optional>
#include <string>

#include "host/check/machine_root.h"
#include "host/check/surroundings.h"

namespace volad_dev {

// The path of a name in PATH: the first that is a file and may be executed. None where there is none.
[[nodiscard]] std::optional<std::string> findProgram(const MachineRoot& root, const Surroundings& host,
                                                     const std::string& name);
// The first word of a command line.
[[nodiscard]] std::string programOf(const std::string& commandLine);

} // namespace volad_dev

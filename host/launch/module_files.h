// The files that are handed to a module inside a sandbox.
#pragma once

#include <string>
#include <vector>

#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

// Each becomes absolute where it is given, since the directory inside is another one; without a module it is
// the one beside this tool.
void placeModuleFiles(std::string& module, std::string& settings, std::string& messages);

// All that is read inside, each at its own path. jobPlaces: of job_world.h.
[[nodiscard]] std::vector<NeededPath> neededPaths(const std::string& module, const std::string& messages,
                                                  const std::vector<std::string>& jobPlaces);

} // namespace volad_dev

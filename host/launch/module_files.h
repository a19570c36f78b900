// The files that are handed to a module inside a sandbox.
#pragma once

#include <string>
#include <vector>

#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

// The path, made absolute; one with ".." by the directory in which it really lies: those in front of the ".."
// are not there inside.
[[nodiscard]] std::string pathInside(const std::string& path);

// Each becomes such a path where it is given, since the directory inside is another one; without a module it
// is the one beside this tool.
void placeModuleFiles(std::string& module, std::string& settings, std::string& messages);

// All that is read inside, each at its own path. jobPlaces: of job_world.h.
[[nodiscard]] std::vector<NeededPath> neededPaths(const std::string& module, const std::string& messages,
                                                  const std::vector<std::string>& jobPlaces);

} // namespace volad_dev

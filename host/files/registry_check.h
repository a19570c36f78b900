// What is wrong with a registry's files: each line that their reader would skip or cut, and what would keep
// the next save from replacing them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/files/findings.h"

namespace volad_dev {

// Looks through one file, which the findings call `shown`; a missing one has nothing to name. Without a name
// of the store's files it is none of them, so that no save is in question.
[[nodiscard]] std::vector<Finding> checkRegistryFile(const std::string& path, const std::string& shown,
                                                     std::string_view name = {});
// The files of a directory that the store reads, in the order in which it tries them, then what would block a
// save (registry_obstacles.h).
[[nodiscard]] std::vector<Finding> checkRegistryFiles(const std::string& directory);

// The store's directory that a command means: the fixed one when it gave none. Throws Failure when there is
// no such directory.
[[nodiscard]] std::string registryDirectory(const std::string& given);

} // namespace volad_dev

// What would keep the store from saving, seen before it has to.
#pragma once

#include <string>
#include <vector>

#include "host/files/findings.h"

namespace volad_dev {

// Looks at the directory, which the findings call `shown`, and at the files that a save would lock, replace
// or make: changes nothing, and waits for a lock that another writer holds. For the user that calls it;
// another may be let through or stopped.
[[nodiscard]] std::vector<Finding> registrySaveObstacles(const std::string& directory,
                                                         const std::string& shown);

} // namespace volad_dev

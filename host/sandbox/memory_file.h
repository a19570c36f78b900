// Files without a name: what the launcher hands to bubblewrap.
#pragma once

#include <string>

#include "base/unique_fd.h"

namespace volad_dev {

// Read from its begin. Throws std::system_error.
[[nodiscard]] em::UniqueFd fileInMemory(const std::string& content);

} // namespace volad_dev

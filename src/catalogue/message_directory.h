// Where the installation keeps its message files.
#pragma once

#include <string>

#include "frame/configuration/installation_roots.h"

namespace em {

// The directory of binaries without its trailing separators, else "Bin" in the directory of files, else
// `otherwise`. An empty root counts as missing. The root directory is "", to be followed by "/" and a name.
[[nodiscard]] std::string messageDirectory(const InstallationRoots& roots, const std::string& otherwise);

} // namespace em

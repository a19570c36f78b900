// What a registry file's reader would skip or cut.
#pragma once

#include <string>
#include <vector>

namespace volad_dev {

struct RegistryComplaint {
    std::string file;
    size_t line; // 0: the file as a whole
    std::string reason;
};

// Looks through one file; a missing one has nothing to complain about.
std::vector<RegistryComplaint> checkRegistryFile(const std::string& path);

} // namespace volad_dev

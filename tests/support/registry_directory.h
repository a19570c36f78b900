// A directory of its own for a test's registry: made empty, set up as the store's, removed at the end.
#pragma once

#include <filesystem>
#include <string_view>

#include "platform/registry/registry.h"
#include "rig/files.h"

namespace em::test {

class RegistryDirectory : public TemporaryDirectory {
public:
    RegistryDirectory() { load(); }

    [[nodiscard]] bool has(std::string_view name) const { return std::filesystem::exists(pathOf(name)); }
    // Drops the tree in memory and reads the files that are there now.
    void load() const { CRegistry::InitClass(path().c_str()); }
};

} // namespace em::test

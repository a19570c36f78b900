// Fills the tree from the store's files: the main one, else the backup, else the default.
#pragma once

#include "platform/registry/registry_names.h"

namespace em {

class CRegistryNode;
struct RegistryPaths;

// Takes the first file that holds a value; only where none does, what all of them gave. Writes the lines of
// each try. Returns why the main file's content could not be had although it is there. Throws std::bad_alloc.
[[nodiscard]] RegistryFailure restoreRegistry(const RegistryPaths& paths, CRegistryNode& root);

} // namespace em

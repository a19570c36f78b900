// Fills the tree from the store's files: the main one, else the backup, else the default.
#pragma once

namespace em {

class CRegistryNode;
struct RegistryPaths;

struct RegistryRestored {
    bool succeeded = false;
    bool mainUnreadable = false; // the main file is there, but its content could not be had
};

// Takes the first file that holds a value; only where none does, what all of them gave. Writes the lines of
// each try. Throws std::bad_alloc.
[[nodiscard]] RegistryRestored restoreRegistry(const RegistryPaths& paths, CRegistryNode& root);

} // namespace em

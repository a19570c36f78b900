// The registry store: its files, what would keep it from saving, and what is read from it.
#pragma once

#include <string>
#include <vector>

#include "host/check/machine_root.h"
#include "host/files/findings.h"

namespace volad_dev {

struct Store {
    std::string directory;         // below the root
    std::string file;              // the one that gives the tree, as it is shown; empty: none does
    bool isMisread = false;        // by its line ends: what it seems to hold is none of its faults
    std::vector<Finding> findings; // what the files hold, and what would block a save
};

// Reads the store's files, as the module would, into this process's registry, once: whoever asks for roots
// and properties gets theirs from then on.
[[nodiscard]] Store readStore(const MachineRoot& root, const std::string& directory);

// What an installation lacks of it: the directory, a file that gives a tree, or the main one of them.
[[nodiscard]] std::vector<Finding> storeFaults(const MachineRoot& root, const Store& store);

} // namespace volad_dev

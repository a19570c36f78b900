// Puts a tree in the place of the registry's main file, atomically and durably, and keeps the one before as
// backup.
#pragma once

#include <cerrno>
#include <string>

#include "platform/registry/registry_names.h"

namespace em {

class CRegistryNode;

struct RegistrySaveOutcome : RegistryFailure {
    bool notOpened = false; // the temporary file, or the directory or lock file to make it under, was not
    bool untried = false;   // failed before the tree was looked at: no lock, or the main file is a link

    [[nodiscard]] bool busy() const { return untried && error == EWOULDBLOCK; } // another writer's lock
};

// Takes the writers' lock (registry_lock.h), once and without waiting, unless the caller holds it already.
// Writes the tree to a temporary file of its own making and syncs it, exchanges it with the main file and
// makes what was the main file the backup, then syncs the directory. An empty or missing main file is
// replaced and leaves the backup alone; a symbolic link is not replaced. A tree whose text the reader would
// refuse for its size is refused before the temporary file is made. Until the exchange a failure leaves main
// and backup as they were; after it, it is taken back where the system lets it. Throws std::bad_alloc, before
// anything but the lock file was made.
[[nodiscard]] RegistrySaveOutcome saveRegistryFile(const std::string& directory, CRegistryNode& root,
                                                   bool locked);

} // namespace em

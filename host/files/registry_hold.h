// Keeps the other writers of a registry directory out while a command reads, changes and saves it, so that
// none of their changes is lost.
#pragma once

#include <string>

#include "platform/registry/registry_lock.h"

namespace volad_dev {

// Waits for the lock, longer than the store's own saves do: each of a row of commands reads the whole tree.
[[nodiscard]] em::RegistryFailure waitForRegistryLock(const std::string& directory, em::RegistryLock& lock);

class RegistryHold {
public:
    // Throws std::runtime_error when the lock cannot be had.
    explicit RegistryHold(const std::string& directory);
    ~RegistryHold(); // after the last handle that changed something
    RegistryHold(const RegistryHold&) = delete;
    RegistryHold& operator=(const RegistryHold&) = delete;

private:
    em::RegistryLock m_lock;
};

} // namespace volad_dev

// The process's one registry: the tree in memory and where its files lie. CRegistry (registry.h) is how the
// rest of the system works on it.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "base/never_destroyed.h"
#include "base/recursive_lock.h"
#include "platform/registry/registry_node.h"
#include "platform/registry/registry_save.h"

namespace em {

struct RegistryPaths {
    explicit RegistryPaths(const std::string& directory);

    std::string directory, main, backup, temporary, fallback;
};

class RegistryState {
public:
    constexpr RegistryState() = default;

    void setUp();
    // Frees the tree without saving or tracing it; what another thread has locked right now is left.
    void tearDown() noexcept;

    [[nodiscard]] CRegistryNode& root() { return m_root; }
    // Serialises set-up and save, and whole look-ups of the callers that want one view.
    [[nodiscard]] RecursiveLock& lock() EM_RETURN_CAPABILITY(m_lock) { return m_lock; }

    // See CRegistry. The directory is a text, or null for the one in use.
    void setupTree(bool forceSetup, const char* directory);
    // A busy lock is waited for only with a change of the caller's own, and then not under lock(). What was
    // not tried is still to be saved afterwards; another failure leaves the change in memory only.
    RegistrySaveOutcome saveTree(bool changedByCaller);
    void initClass(const char* directory);
    void markDirty() { m_dirty = true; }
    // Whether the caller holds the writers' lock of the directory, so that a save does not take it: for who
    // locks before it reads and thus loses no other writer's change.
    void setLocked(bool locked) { m_locked = locked; }

    // Why the main file could not be read at the set-up, for another reason than that it is not there.
    [[nodiscard]] RegistryFailure mainUnreadable() {
        const RecursiveLockGuard guard(m_lock);
        return m_mainUnreadable;
    }

private:
    void restore(const char* directory) EM_REQUIRES(m_lock);
    RegistrySaveOutcome saveOnce(bool changedByCaller, bool lastTry);
    RegistrySaveOutcome save() EM_REQUIRES(m_lock);
    void tell(const RegistrySaveOutcome& outcome) EM_REQUIRES(m_lock);

    RecursiveLock m_lock;
    CRegistryNode m_root;
    std::atomic<bool> m_setup{false};
    std::atomic<bool> m_dirty{false};
    std::atomic<bool> m_tornDown{false};
    std::atomic<bool> m_locked{false};
    // The main file is there and could not be read: a save would push good data out.
    RegistryFailure m_mainUnreadable EM_GUARDED_BY(m_lock);
    std::unique_ptr<RegistryPaths> m_paths EM_GUARDED_BY(m_lock); // since the first set-up
};

// Built at compile time, set up by the library's load-time initialiser.
extern constinit NeverDestroyed<RegistryState> registryState;

} // namespace em

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

    void SetUp();
    // Frees the tree without saving or tracing it; what another thread has locked right now is left.
    void TearDown() noexcept;

    [[nodiscard]] CRegistryNode& Root() { return m_Root; }
    // Serialises set-up and save, and whole look-ups of the callers that want one view.
    [[nodiscard]] RecursiveLock& Lock() EM_RETURN_CAPABILITY(m_Lock) { return m_Lock; }

    // See CRegistry. The directory is a text, or null for the one in use.
    void SetupTree(bool forceSetup, const char* directory);
    // A busy lock is waited for only with a change of the caller's own, and then not under Lock(). What was
    // not tried is still to be saved afterwards; another failure leaves the change in memory only.
    RegistrySaveOutcome SaveTree(bool changedByCaller);
    void InitClass(const char* directory);
    void MarkDirty() { m_bDirty = true; }
    // Whether the caller holds the writers' lock of the directory, so that a save does not take it: for who
    // locks before it reads and thus loses no other writer's change.
    void SetLocked(bool locked) { m_bLocked = locked; }

    // Why the main file could not be read at the set-up, for another reason than that it is not there.
    [[nodiscard]] RegistryFailure MainUnreadable() {
        const RecursiveLockGuard guard(m_Lock);
        return m_MainUnreadable;
    }

private:
    void Restore(const char* directory) EM_REQUIRES(m_Lock);
    RegistrySaveOutcome SaveOnce(bool changedByCaller, bool lastTry);
    RegistrySaveOutcome Save() EM_REQUIRES(m_Lock);
    void Tell(const RegistrySaveOutcome& outcome) EM_REQUIRES(m_Lock);

    RecursiveLock m_Lock;
    CRegistryNode m_Root;
    std::atomic<bool> m_bSetup{false};
    std::atomic<bool> m_bDirty{false};
    std::atomic<bool> m_bTornDown{false};
    std::atomic<bool> m_bLocked{false};
    // The main file is there and could not be read: a save would push good data out.
    RegistryFailure m_MainUnreadable EM_GUARDED_BY(m_Lock);
    std::unique_ptr<RegistryPaths> m_pPaths EM_GUARDED_BY(m_Lock); // since the first set-up
};

// Built at compile time, set up by the library's load-time initialiser.
extern constinit NeverDestroyed<RegistryState> registryState;

} // namespace em

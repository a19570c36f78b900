#include "platform/registry/registry_state.h"

#include "base/cancellation_disabled.h"
#include "base/clock.h"
#include "base/swallow.h"
#include "base/system.h"
#include "contract/places.h"
#include "platform/registry/registry_restore.h"
#include "trace/trace.h"

namespace em {
namespace {

constexpr uint64_t kLockLimitMs = 2000; // another writer needs some milliseconds
constexpr uint64_t kLockPollMs = 5;

} // namespace

constinit NeverDestroyed<RegistryState> registryState;

RegistryPaths::RegistryPaths(const std::string& in)
    : directory(in),
      main(in + "/" + kRegistryMain),
      backup(in + "/" + kRegistryBackup),
      temporary(in + "/" + kRegistryTemporary),
      fallback(in + "/" + kRegistryDefault) {}

void RegistryState::SetUp() {
    m_Lock.SetUp();
    m_Root.Lock().SetUp();
}

void RegistryState::TearDown() noexcept {
    m_bTornDown = true;
    if (m_Lock.TearDown()) {
        dismantleRegistryKey("", m_Root, Dismantle::Unloaded);
        // Not analysed: the lock that guards it is gone, and was free.
        [this]() EM_NO_THREAD_SAFETY_ANALYSIS { m_pPaths.reset(); }();
    }
}

void RegistryState::SetupTree(bool forceSetup, const char* directory) {
    if (m_bTornDown || (m_bSetup && !forceSetup)) {
        return;
    }
    const RecursiveLockGuard guard(m_Lock);
    if (m_bSetup && !forceSetup) {
        return;
    }
    EM_TRACE(2, "CRegistry: SetupTree(): ForceSetup=%d, MIsSetup=%d, MIsDirty=%d\n", forceSetup,
             m_bSetup.load(), m_bDirty.load());
    // Not analysed, here and in SaveOnce: who calls the body is a template that knows no lock.
    if (!swallow([&]() EM_NO_THREAD_SAFETY_ANALYSIS { Restore(directory); })) {
        EM_TRACE(2, "CRegistry: SetupTree(): ## ERROR during Setup\n");
    }
    m_bSetup = true;
}

void RegistryState::Restore(const char* directory) {
    m_MainUnreadable = {"read the old file", ENOMEM}; // until it has been read
    if (directory != nullptr || m_pPaths == nullptr) {
        m_pPaths = std::make_unique<RegistryPaths>(textOr(directory, sys::path(place::kRegistryDirectory)));
    }
    m_MainUnreadable = restoreRegistry(*m_pPaths, m_Root);
}

void RegistryState::InitClass(const char* directory) {
    const RecursiveLockGuard guard(m_Lock);
    EM_TRACE(2, "CRegistry::InitClass() : re-initialize the registry-tree\n");
    m_bDirty = false; // first: what changes the new tree meanwhile stays to be saved
    m_Root.Clear();
    SetupTree(true, directory);
}

RegistrySaveOutcome RegistryState::SaveTree(bool changedByCaller) {
    // A change of the caller's own may be on its way to the disk by another thread: the lock waits for that.
    if (m_bTornDown || (!changedByCaller && !m_bDirty)) {
        return {};
    }
    const CancellationDisabled whole;
    const Deadline limit = Deadline::in(changedByCaller ? kLockLimitMs : 0);
    for (;;) {
        const bool last = limit.remainingMs() == 0;
        const RegistrySaveOutcome outcome = SaveOnce(changedByCaller, last);
        if (!outcome.busy() || last) {
            return outcome;
        }
        sleepMs(kLockPollMs); // without the registry's lock, so that readers are not held up
    }
}

RegistrySaveOutcome RegistryState::SaveOnce(bool changedByCaller, bool lastTry) {
    const RecursiveLockGuard guard(m_Lock);
    // Cleared before the tree is written: a change made meanwhile is saved by the handle that made it.
    if (!m_bDirty.exchange(false)) {
        return {};
    }
    RegistrySaveOutcome outcome;
    if (!swallow([&]() EM_NO_THREAD_SAFETY_ANALYSIS { outcome = Save(); })) {
        EM_TRACE(1, "CRegistry: ERROR: Saving failed without memory, the change is in memory only\n");
        return {{"write the tree as text", ENOMEM}};
    }
    if (outcome.untried) {
        m_bDirty = true;
    }
    // What was not tried is told once, by the handle that made the change.
    if (!outcome.untried || (changedByCaller && (lastTry || !outcome.busy()))) {
        Tell(outcome);
    }
    return outcome;
}

RegistrySaveOutcome RegistryState::Save() {
    if (m_pPaths == nullptr) {
        return {{"set up", ENOMEM}}; // it never came as far as the paths: no file was read, none is replaced
    }
    if (m_MainUnreadable.failedAt != nullptr) {
        return {m_MainUnreadable};
    }
    return saveRegistryFile(m_pPaths->directory, m_Root, m_bLocked);
}

void RegistryState::Tell(const RegistrySaveOutcome& outcome) {
    if (m_pPaths == nullptr) {
        return;
    }
    const RegistryPaths& paths = *m_pPaths; // the analysis does not look into the bodies of trace lines
    if (m_MainUnreadable.failedAt != nullptr) {
        EM_TRACE(1,
                 "CRegistry: ERROR: \"%s\" could not be read and is not replaced, the change is in "
                 "memory only\n",
                 paths.main.c_str());
        return;
    }
    if (outcome.notOpened) {
        EM_TRACE(1, "CRegistry: ERROR: Cannot open \"%s\" for writing\n", paths.temporary.c_str());
    }
    if (outcome.failedAt != nullptr) {
        EM_TRACE(1, "CRegistry: ERROR: Saving \"%s\" failed (%s, error %d), the change is in memory only\n",
                 paths.main.c_str(), outcome.failedAt, outcome.error);
        return;
    }
    EM_TRACE(2, "\nCRegistry::SaveTree MPRegistryTemp[%s] \t MPRegistry[%s]", paths.temporary.c_str(),
             paths.main.c_str());
}

} // namespace em

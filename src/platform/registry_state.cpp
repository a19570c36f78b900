#include "platform/registry_state.h"

#include "platform/base/cancellation_disabled.h"
#include "platform/base/swallow.h"
#include "platform/base/system.h"
#include "platform/registry_restore.h"
#include "platform/registry_save.h"
#include "platform/registry_writer.h"
#include "trace/trace.h"

namespace em {

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
    if (!swallow([&]() EM_NO_THREAD_SAFETY_ANALYSIS { Restore(directory); })) {
        EM_TRACE(2, "CRegistry: SetupTree(): ## ERROR during Setup\n");
    }
    m_bSetup = true;
}

void RegistryState::Restore(const char* directory) {
    m_bMainUnreadable = true; // until it has been read
    if (directory != nullptr || m_pPaths == nullptr) {
        m_pPaths = std::make_unique<RegistryPaths>(textOr(directory, sys::paths::registryDirectory()));
    }
    m_bMainUnreadable = restoreRegistry(*m_pPaths, m_Root).mainUnreadable;
}

void RegistryState::InitClass(const char* directory) {
    const RecursiveLockGuard guard(m_Lock);
    EM_TRACE(2, "CRegistry::InitClass() : re-initialize the registry-tree\n");
    m_bDirty = false; // first: what changes the new tree meanwhile stays to be saved
    m_Root.Clear();
    SetupTree(true, directory);
}

bool RegistryState::SaveTree(bool changedByCaller) {
    // A change of the caller's own may be on its way to the disk by another thread: the lock waits for that.
    if (m_bTornDown || (!changedByCaller && !m_bDirty)) {
        return true;
    }
    const CancellationDisabled whole;
    const RecursiveLockGuard guard(m_Lock);
    // Cleared before the tree is written: a change made meanwhile is saved by the handle that made it.
    if (!m_bDirty.exchange(false)) {
        return true;
    }
    bool saved = false;
    if (!swallow([&]() EM_NO_THREAD_SAFETY_ANALYSIS { saved = Save(); })) {
        EM_TRACE(1, "CRegistry: ERROR: Saving failed without memory, the change is in memory only\n");
    }
    return saved;
}

bool RegistryState::Save() {
    if (m_pPaths == nullptr) {
        return false; // no set-up has come as far as the paths, so no file was read and none is replaced
    }
    const RegistryPaths& paths = *m_pPaths; // the analysis does not look into the bodies of trace lines
    if (m_bMainUnreadable) {
        EM_TRACE(1,
                 "CRegistry: ERROR: \"%s\" could not be read and is not replaced, the change is in "
                 "memory only\n",
                 paths.main.c_str());
        return false;
    }
    const RegistrySaveOutcome outcome = saveRegistryFile(paths.directory, writeRegistry(m_Root).view());
    if (outcome.notOpened) {
        EM_TRACE(1, "CRegistry: ERROR: Cannot open \"%s\" for writing\n", paths.temporary.c_str());
    }
    if (outcome.failedAt != nullptr) {
        EM_TRACE(1, "CRegistry: ERROR: Saving \"%s\" failed (%s, error %d), the change is in memory only\n",
                 paths.main.c_str(), outcome.failedAt, outcome.error);
        return false;
    }
    EM_TRACE(2, "\nCRegistry::SaveTree MPRegistryTemp[%s] \t MPRegistry[%s]", paths.temporary.c_str(),
             paths.main.c_str());
    return true;
}

} // namespace em

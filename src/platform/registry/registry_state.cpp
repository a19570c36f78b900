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

void RegistryState::setUp() {
    m_lock.SetUp();
    m_root.Lock().SetUp();
}

void RegistryState::tearDown() noexcept {
    m_tornDown = true;
    if (m_lock.TearDown()) {
        dismantleRegistryKey("", m_root, Dismantle::Unloaded);
        // Not analysed: the lock that guards it is gone, and was free.
        [this]() EM_NO_THREAD_SAFETY_ANALYSIS { m_paths.reset(); }();
    }
}

void RegistryState::setupTree(bool forceSetup, const char* directory) {
    if (m_tornDown || (m_setup && !forceSetup)) {
        return;
    }
    const RecursiveLockGuard guard(m_lock);
    if (m_setup && !forceSetup) {
        return;
    }
    EM_TRACE(2, "CRegistry: SetupTree(): ForceSetup=%d, MIsSetup=%d, MIsDirty=%d\n", forceSetup,
             m_setup.load(), m_dirty.load());
    // Not analysed, here and in SaveOnce: who calls the body is a template that knows no lock.
    if (!swallow([&]() EM_NO_THREAD_SAFETY_ANALYSIS { restore(directory); })) {
        EM_TRACE(2, "CRegistry: SetupTree(): ## ERROR during Setup\n");
    }
    m_setup = true;
}

void RegistryState::restore(const char* directory) {
    m_mainUnreadable = {"read the old file", ENOMEM}; // until it has been read
    if (directory != nullptr || m_paths == nullptr) {
        m_paths = std::make_unique<RegistryPaths>(textOr(directory, sys::path(place::kRegistryDirectory)));
    }
    m_mainUnreadable = restoreRegistry(*m_paths, m_root);
}

void RegistryState::initClass(const char* directory) {
    const RecursiveLockGuard guard(m_lock);
    EM_TRACE(2, "CRegistry::InitClass() : re-initialize the registry-tree\n");
    m_dirty = false; // first: what changes the new tree meanwhile stays to be saved
    m_root.Clear();
    setupTree(true, directory);
}

RegistrySaveOutcome RegistryState::saveTree(bool changedByCaller) {
    // A change of the caller's own may be on its way to the disk by another thread: the lock waits for that.
    if (m_tornDown || (!changedByCaller && !m_dirty)) {
        return {};
    }
    const CancellationDisabled whole;
    const Deadline limit = Deadline::in(changedByCaller ? kLockLimitMs : 0);
    for (;;) {
        const bool last = limit.remainingMs() == 0;
        const RegistrySaveOutcome outcome = saveOnce(changedByCaller, last);
        if (!outcome.busy() || last) {
            return outcome;
        }
        sleepMs(kLockPollMs); // without the registry's lock, so that readers are not held up
    }
}

RegistrySaveOutcome RegistryState::saveOnce(bool changedByCaller, bool lastTry) {
    const RecursiveLockGuard guard(m_lock);
    // Cleared before the tree is written: a change made meanwhile is saved by the handle that made it.
    if (!m_dirty.exchange(false)) {
        return {};
    }
    RegistrySaveOutcome outcome;
    if (!swallow([&]() EM_NO_THREAD_SAFETY_ANALYSIS { outcome = save(); })) {
        EM_TRACE(1, "CRegistry: ERROR: Saving failed without memory, the change is in memory only\n");
        return {{"write the tree as text", ENOMEM}};
    }
    if (outcome.untried) {
        m_dirty = true;
    }
    // What was not tried is told once, by the handle that made the change.
    if (!outcome.untried || (changedByCaller && (lastTry || !outcome.busy()))) {
        tell(outcome);
    }
    return outcome;
}

RegistrySaveOutcome RegistryState::save() {
    if (m_paths == nullptr) {
        return {{"set up", ENOMEM}}; // it never came as far as the paths: no file was read, none is replaced
    }
    if (m_mainUnreadable.failedAt != nullptr) {
        return {m_mainUnreadable};
    }
    return saveRegistryFile(m_paths->directory, m_root, m_locked);
}

void RegistryState::tell(const RegistrySaveOutcome& outcome) {
    if (m_paths == nullptr) {
        return;
    }
    const RegistryPaths& paths = *m_paths; // the analysis does not look into the bodies of trace lines
    if (m_mainUnreadable.failedAt != nullptr) {
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

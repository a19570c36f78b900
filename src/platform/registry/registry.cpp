#include "platform/registry/registry.h"

#include "base/cancellation_disabled.h"
#include "contract/places.h"
#include "platform/registry/registry_rules.h"
#include "platform/registry/registry_state.h"
#include "trace/trace.h"

namespace em {

CRegistry::~CRegistry() {
    // Neither an exception nor an unwinding may leave a destructor.
    const CancellationDisabled whole;
    m_node = {};
    static_cast<void>(registryState.value.saveTree(m_changed)); // a failure has its line
}

void CRegistry::SetupTree(bool forceSetup, const char* directory) {
    registryState.value.setupTree(forceSetup, directory);
}

void CRegistry::InitClass(const char* directory) {
    registryState.value.initClass(directory);
}

bool CRegistry::SaveTree() {
    return registryState.value.saveTree(true).failedAt == nullptr;
}

RecursiveLock& CRegistry::Lock() {
    return registryState.value.lock();
}

RegistryKeyRef CRegistry::Root(PredefinedRoot root) {
    SetupTree(false);
    return registryState.value.root().SubKey(kPredefinedRoots[static_cast<size_t>(root)]);
}

void CRegistry::MarkChanged() {
    m_changed = true;
    registryState.value.markDirty();
}

int32_t CRegistry::Open(const char* path, CRegistryNode* parent, uint32_t /*rights*/, int32_t /*reserved*/) {
    return Run(REG_NO_KEY, [&] {
        SetupTree(false);
        EM_TRACE(2, "\nCRegistry::Open \"%s\", hKey = %d\n", textOr(path, "<null>"),
                 asInt(reinterpret_cast<uintptr_t>(parent)));
        return Walk(path, parent, false);
    });
}

int32_t CRegistry::CreateKey(CRegistryNode* parent, const char* path) {
    return Run(REG_NO_KEY, [&] {
        SetupTree(false);
        EM_TRACE(2, "CRegistry::CreateKey \"%s\"\n", textOr(path, "<null>"));
        return Walk(path, parent, true);
    });
}

int32_t CRegistry::Walk(const char* path, CRegistryNode* parent, bool create) {
    std::string copy = textOr(path);
    RegistryPath left(copy);
    RegistryPath missing = left;
    RegistryKeyRef key(parent != nullptr ? parent : &registryState.value.root());
    while (const auto component = left.next()) {
        RegistryKeyRef next = key->SubKey(std::string(*component).c_str());
        if (!next) {
            break;
        }
        // The parent is let go as soon as the child is held, as every walker does it.
        key = std::move(next);
        missing = left;
    }
    if (RegistryPath(missing).next() && (!create || !MakeSubKeys(key, missing))) {
        m_path.clear();
        return REG_NO_KEY;
    }
    m_node = std::move(key);
    m_path = std::move(copy);
    return REG_SUCCESS;
}

// All names are looked at before the first key is made. What exists is not: another writer may have put it
// into the file under any name. A value can be in the way of the first one only.
bool CRegistry::MakeSubKeys(RegistryKeyRef& key, RegistryPath missing) {
    uint32_t depth = key->Depth();
    for (RegistryPath left = missing; const auto component = left.next(); ++depth) {
        const char* const refusal =
            depth >= kRegistryDepth ? "it would lie below the deepest level" : refusalOfKeyName(*component);
        if (refusal != nullptr) {
            EM_TRACE(1, "CRegistry: ERROR: Key \"%s\" is refused: %s\n", std::string(*component).c_str(),
                     refusal);
            m_refusal = refusal;
            return false;
        }
    }
    while (const auto component = missing.next()) {
        bool created = false;
        RegistryKeyRef next = key->CreateSubKey(std::string(*component).c_str(), created);
        if (!next) {
            m_refusal = "a value has that name, the key was deleted or there is no memory";
            return false;
        }
        if (created) {
            MarkChanged();
        }
        key = std::move(next);
    }
    return true;
}

int32_t CRegistry::OpenPointer(const char* name) {
    return Run(REG_NO_KEY, [&]() -> int32_t {
        SetupTree(false);
        EM_TRACE(2, "CRegistry::OpenPointer \"%s\"\n", textOr(name, "<null>"));
        RegistryKeyRef before(m_node.get());
        std::string path;
        if (QueryPointer(name, path) == REG_SUCCESS && holdsSeparator(path) &&
            Open(withUpperCaseRoot(path).c_str()) == REG_SUCCESS) {
            return REG_SUCCESS;
        }
        m_node = std::move(before); // what is set through this handle must not end up among the pointers
        return REG_NO_KEY;
    });
}

int32_t CRegistry::OpenPointersKey() {
    const RegistryKeyRef machine = Root(PredefinedRoot::LocalMachine);
    // A null parent would mean the root node.
    const bool opened = machine && Open(place::kLocatorKey, machine.get()) == REG_SUCCESS;
    return m_result = opened ? REG_SUCCESS : REG_NO_KEY;
}

int32_t CRegistry::QueryPointer(const char* name, std::string& text) {
    return OpenPointersKey() == REG_SUCCESS ? QueryText(name, text) : m_result;
}

int32_t CRegistry::DeleteKey(const char* name) {
    return Run(REG_INVALID, [&]() -> int32_t {
        EM_TRACE(2, "CRegistry::DeleteKey \"%s\"\n", textOr(name, "<null>"));
        if (!m_node || name == nullptr || !m_node->DeleteSubKey(name)) {
            return REG_INVALID;
        }
        MarkChanged();
        return REG_SUCCESS;
    });
}

} // namespace em

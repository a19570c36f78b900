#include "frame/configuration/installation_roots.h"

#include "base/swallow.h"
#include "contract/places.h"
#include "platform/registry/registry.h"
#include "platform/registry/registry_path.h"

namespace em {
namespace {

// A path without a root's name lies under HKEY_LOCAL_MACHINE.
bool openProductPath(CRegistry& key, const std::string& path, uint32_t rights) {
    if (beginsWithRoot(path)) {
        return key.Open(withUpperCaseRoot(path).c_str(), nullptr, rights, -1) == REG_SUCCESS;
    }
    const RegistryKeyRef machine = CRegistry::Root(PredefinedRoot::LocalMachine);
    // A null parent would mean the root node, so a missing root is asked for first.
    return machine && key.Open(path.c_str(), machine.get(), rights, -1) == REG_SUCCESS;
}

} // namespace

// The size is asked for first, as every reader of the locator does: both look-ups show in the trace.
std::string productKeyPath() {
    CRegistry locator;
    uint32_t size = 0;
    std::string path;
    const bool found = locator.OpenPointersKey() == REG_SUCCESS &&
                       locator.QueryValue(nullptr, place::kLocatorValue, &size) == REG_SUCCESS &&
                       locator.QueryText(place::kLocatorValue, path) == REG_SUCCESS;
    return found ? path : place::kDefaultProductKey;
}

bool openProductKey(CRegistry& key, const char* subkey, bool forWriting) {
    bool opened = false;
    static_cast<void>(swallow([&] {
        opened = openProductPath(key, productKeyPath() + '\\' + subkey,
                                 forWriting ? REGISTRY_WRITE : REGISTRY_READ);
    }));
    return opened;
}

// Opened anew each time: the store may have been set up again in between.
std::string productText(const char* subkey, const char* name) {
    CRegistry key;
    std::string text;
    if (openProductKey(key, subkey)) {
        static_cast<void>(key.QueryText(name, text));
    }
    return text;
}

InstallationRoots findInstallationRoots() {
    const RecursiveLockGuard guard(CRegistry::Lock());
    InstallationRoots roots;
    CRegistry setup;
    if (openProductKey(setup, place::kSetupKey) &&
        (setup.QueryText(place::kBinRoot, roots.binRoot) != REG_SUCCESS || roots.binRoot.empty())) {
        static_cast<void>(setup.QueryText(place::kFileRoot, roots.fileRoot));
    }
    return roots;
}

std::optional<std::string> binaryPath(const InstallationRoots& roots) {
    std::string path = roots.binRoot;
    if (path.empty() && !roots.fileRoot.empty()) {
        path = roots.fileRoot + (roots.fileRoot.ends_with('/') ? "" : "/") + "Bin/";
    }
    const size_t last = path.rfind('/');
    return last == std::string::npos ? std::nullopt : std::optional(path.substr(0, last));
}

std::string registeredData(const char* name) {
    const RecursiveLockGuard guard(CRegistry::Lock());
    return productText(place::kDataKey, name);
}

std::string configFileStem(const char* module) {
    std::string registered = registeredData(module);
    return registered.empty() ? module : registered;
}

} // namespace em

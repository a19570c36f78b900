// Where the host's installation keeps its things, as its product key in the registry store says. The locator
// of that key is read anew each time. Whoever asks several of these holds CRegistry::Lock() around them. No
// memory counts as "missing"; no exception leaves them, where they do not say so. Any thread.
#pragma once

#include <optional>
#include <string>

namespace em {

class CRegistry;

// The product key's path: the locator's value, which may lack a root's name or lead nowhere, or the default.
// May throw bad_alloc.
[[nodiscard]] std::string productKeyPath();

// Opens the product key's sub-key of that name: the product key is the locator's value, an empty one too, or,
// when the locator's key or value is missing, the default. False when there is no such key.
[[nodiscard]] bool openProductKey(CRegistry& key, const char* subkey, bool forWriting = false);

// A text value under the product key's sub-key, expanded if it is expandable; empty when key or value is
// missing or the value is no text.
[[nodiscard]] std::string productText(const char* subkey, const char* name);

// The installation's roots as they stand in the store: nothing joined, nothing cut, so that each user decides
// about separators. Empty when missing.
struct InstallationRoots {
    std::string binRoot;  // directory of the host's binaries; by convention it ends in "/"
    std::string fileRoot; // only without binRoot: directory of the host's files; binaries lie in its "Bin"
};
// One look-up under the registry lock.
[[nodiscard]] InstallationRoots findInstallationRoots();

// The directory of binaries as the search for a module's configuration file takes it: cut before its last
// "/", so "/a/b" means "/a". Nothing without a root or a "/". May throw bad_alloc, as the two below.
[[nodiscard]] std::optional<std::string> binaryPath(const InstallationRoots& roots);

// A text under the product key's DATA, read under the registry lock.
[[nodiscard]] std::string registeredData(const char* name);
// The name of a module's configuration file without "." and extension: the registered one, else the module's.
[[nodiscard]] std::string configFileStem(const char* module);

} // namespace em

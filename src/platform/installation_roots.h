// Where the host's installation keeps its things, as its product key in the registry store says. Whoever asks
// several of these holds the registry lock around them: the locator is read anew each time, and another
// handle may change it in between.
#pragma once

#include <string>

namespace em {

// Path of the product key: the locator's value or, when the locator's key or value is missing or empty, the
// default. May begin with a root name; OpenProductKey (platform/registry.h's handle) resolves that.
[[nodiscard]] std::string ProductKeyPath();

// The text value of that name under the product key's sub-key (expandable strings expanded); empty when key
// or value is missing or the value is no text.
[[nodiscard]] std::string ProductText(const char* subkey, const char* name);

// The installation's roots as they stand in the store, nothing joined and nothing cut: who uses one decides
// about trailing separators. Empty when missing. Taken in one look-up under the registry lock.
struct InstallationRoots {
    std::string binRoot;  // directory of the host's binaries; ends in "/" by convention
    std::string fileRoot; // directory of the host's files; its binaries lie in "Bin" below it
};
[[nodiscard]] InstallationRoots FindInstallationRoots();

} // namespace em

// Finding a module's configuration file: three directories, the first file wins.
#include <optional>

#include "base/current_directory.h"
#include "base/swallow.h"
#include "base/system.h"
#include "contract/places.h"
#include "frame/configuration/installation_roots.h"
#include "frame/configuration/module_properties.h"
#include "trace/trace.h"

namespace em {
namespace {

// A directory of that name is passed over, the search goes on.
bool exists(const std::string& path) {
    struct stat status = {};
    return sys::stat(path.c_str(), &status) == 0 && !S_ISDIR(status.st_mode);
}

std::optional<std::string> fileIn(const std::string& directory, const std::string& name) {
    std::string path = directory + "/" + name;
    return exists(path) ? std::optional(std::move(path)) : std::nullopt;
}

std::optional<std::string> inCurrentDirectory(const std::string& name) {
    std::string directory;
    if (!GetCurrentDirectory(directory)) {
        const int error = errno;
        EM_TRACE(1, "\nModuleConfigFile    : ## ERROR 0x%X! GetCurrentDir() FAILED!",
                 static_cast<unsigned>(error));
        return std::nullopt;
    }
    EM_TRACE(3, "\nCExtensionModule    : Check for config file in current directory %s...",
             directory.c_str());
    return fileIn(directory, name);
}

// A root that ends in a separator gets a second one, which the system takes for one.
std::optional<std::string> inDataRoot(const std::string& name) {
    const std::string dataRoot = registeredData(place::kDataRoot);
    if (dataRoot.empty()) {
        EM_TRACE(3, "\nModuleConfigFile    : Could not find data root directory");
        return std::nullopt;
    }
    EM_TRACE(3, "\nModuleConfigFile    : Check for config file in Hostwarden/volad data root %s...",
             dataRoot.c_str());
    return fileIn(dataRoot, name);
}

std::optional<std::string> inBinaryPath(const std::string& name) {
    const std::optional<std::string> path = binaryPath(findInstallationRoots());
    if (!path) {
        EM_TRACE(3, "\nModuleConfigFile    : Could not find the Hostwarden binary path");
        return std::nullopt;
    }
    EM_TRACE(3, "\nModuleConfigFile    : Check for config file in Hostwarden/volad binary path %s...",
             path->c_str());
    return fileIn(*path, name);
}

std::optional<std::string> search(const char* module, const char* extension) {
    EM_TRACE(3, "\nModuleConfigFile    : GetModuleConfigFile: \"%s\"", textOr(module, "<null>"));
    if (module == nullptr || *module == '\0') {
        return std::nullopt;
    }
    // Before the search, and once: all three places look for the same name.
    const std::string name = configFileStem(module) + "." + textOr(extension);
    EM_TRACE(3, "\nModuleConfigFile    : Extension module config file requested: \"%s\"", name.c_str());
    std::optional<std::string> found = inCurrentDirectory(name);
    if (!found) {
        found = inDataRoot(name);
    }
    if (!found) {
        found = inBinaryPath(name);
    }
    if (!found) {
        EM_TRACE(1, "\nModuleConfigFile    : ## ERROR! Module specific config file %s not found!",
                 name.c_str());
        return std::nullopt;
    }
    EM_TRACE(3, "\nModuleConfigFile    : Config file path: \"%s\"", found->c_str());
    return found;
}

} // namespace

unsigned GetModuleConfigFile(const char* module, std::string& path, const char* extension) {
    std::optional<std::string> found;
    static_cast<void>(swallow([&] { found = search(module, extension); }));
    if (!found) {
        return 0;
    }
    path = std::move(*found);
    return 1;
}

} // namespace em

// The search for a module's configuration file, for all extensions that there are: whoever asks for one names
// its extension only then.
#include <algorithm>
#include <map>
#include <optional>
#include <string>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "contract/module_interface.h"
#include "contract/places.h"
#include "frame/configuration/installation_roots.h"
#include "host/check/installation_check.h"

namespace volad_dev {
namespace {

// Current directory, data root, binaries: in this order. Roots that name one directory are searched once.
std::vector<std::string> searchedPlaces(const Surroundings& host) {
    std::vector<std::string> places;
    const auto add = [&](const std::string& directory) {
        std::string path = pathFrom(host.directory, directory);
        path.erase(std::min(path.size(), std::max<size_t>(path.find_last_not_of('/') + 1, 1)));
        if (std::ranges::find(places, path) == places.end()) {
            places.push_back(std::move(path));
        }
    };
    add(host.directory);
    if (const std::string dataRoot = em::registeredData(em::place::kDataRoot); !dataRoot.empty()) {
        add(dataRoot);
    }
    if (const std::optional<std::string> binaries = em::binaryPath(em::findInstallationRoots())) {
        add(binaries->empty() ? "/" : *binaries);
    }
    return places;
}

// The names in a directory that are the stem, "." and an extension.
std::vector<std::string> candidates(const MachineRoot& root, const std::string& place,
                                    const std::string& stem) {
    const std::string begin = joined(place, stem) + ".";
    const size_t slash = begin.rfind('/');
    const std::string directory = begin.substr(0, slash == 0 ? 1 : slash);
    std::vector<std::string> names;
    if (root.list(directory, names) != 0) {
        return {}; // a place that is not there is passed over
    }
    std::vector<std::string> paths;
    for (const std::string& name : names) {
        std::string path = joined(directory, name);
        if (path.starts_with(begin)) {
            paths.push_back(std::move(path));
        }
    }
    return paths;
}

} // namespace

ConfigurationFiles findConfigurationFiles(const MachineRoot& root, const Surroundings& host) {
    ConfigurationFiles found{searchedPlaces(host), {}, {}};
    const std::string stem = em::configFileStem(em::kModuleName);
    std::map<std::string, ConfigurationFile> byExtension;
    for (const std::string& place : found.places) {
        for (std::string& path : candidates(root, place, stem)) {
            const Seen seen = root.look(path);
            if (seen.isDirectory()) {
                found.directories.push_back(std::move(path));
                continue;
            }
            if (!seen.there()) {
                continue;
            }
            const std::string extension = path.substr(joined(place, stem).size() + 1);
            ConfigurationFile& file = byExtension[extension];
            if (file.path.empty()) {
                file = {extension, std::move(path), {}};
            } else {
                file.shadowed.push_back(std::move(path));
            }
        }
    }
    for (auto& [extension, file] : byExtension) {
        found.files.push_back(std::move(file));
    }
    return found;
}

std::vector<Finding> checkConfigurationFiles(const Store& store, const ConfigurationFiles& found) {
    std::vector<Finding> findings;
    for (const ConfigurationFile& file : found.files) {
        for (const std::string& shadowed : file.shadowed) {
            findings.push_back({shadowed, 0, "config-file-shadowed",
                                fmt::format("is not read, \"{}\" is found first", file.path)});
        }
    }
    for (const std::string& directory : found.directories) {
        findings.push_back(
            {directory, 0, "config-file-is-directory", "is a directory, the search passes it over"});
    }
    const std::string registered = em::registeredData(em::kModuleName);
    if (!store.isMisread && !registered.empty() && findings.empty() && found.files.empty()) {
        findings.push_back({store.file, 0, "config-file-missing",
                            fmt::format("names the configuration file \"{}\", which is in none of \"{}\"",
                                        registered, fmt::join(found.places, "\", \""))});
    }
    return findings;
}

} // namespace volad_dev

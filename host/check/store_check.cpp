#include "host/check/store_check.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <system_error>

#include <fmt/format.h>

#include "host/files/registry_check.h"
#include "host/files/registry_obstacles.h"
#include "platform/registry/registry.h"
#include "platform/registry/registry_names.h"
#include "platform/registry/registry_restore.h"
#include "platform/registry/registry_state.h"

namespace volad_dev {
namespace {

// One of the files, as the reader is given it.
struct StoreFile {
    Seen seen;
    std::string shown;
    bool taken = false; // it gives a tree
    bool isMisread = false;

    // Nothing that is no file is handed on: to open a device may well do something.
    [[nodiscard]] std::string path() const { return seen.isFile() ? seen.path() : std::string(); }
};

bool losesTheTree(const Finding& finding) {
    const std::string_view code = finding.code;
    return code == "unreadable" || code == "no-memory" || code == "no-value";
}

bool isOfLineEnds(const Finding& finding) {
    return std::string_view(finding.code) == "crlf-line-ends";
}

StoreFile lookAt(const MachineRoot& root, const std::string& directory, const char* name,
                 std::vector<Finding>& findings) {
    const std::string path = joined(directory, name);
    StoreFile file{root.look(path), path};
    if (file.seen.missing()) {
        return file;
    }
    if (!file.seen.isFile()) {
        const int error = file.seen.there() ? ENOTSUP : file.seen.error;
        findings.push_back(
            {file.shown, 0, "unreadable", "could not be read: " + std::generic_category().message(error)});
        return file;
    }
    std::vector<Finding> found = checkRegistryFile(file.path(), file.shown, name);
    file.taken = std::ranges::none_of(found, losesTheTree);
    file.isMisread = std::ranges::any_of(found, isOfLineEnds);
    std::ranges::move(found, std::back_inserter(findings));
    return file;
}

void load(const std::array<StoreFile, 3>& files) {
    em::CRegistry::SetupTree(true, ""); // nothing lies there: the tree is empty, and counts as set up
    em::RegistryPaths paths("");
    paths.main = files[0].path();
    paths.backup = files[1].path();
    paths.fallback = files[2].path();
    // What keeps the main file from being read has been found already.
    static_cast<void>(em::restoreRegistry(paths, em::registryState.value.root()));
}

} // namespace

Store readStore(const MachineRoot& root, const std::string& directory) {
    Store store{directory, {}, false, {}};
    const auto look = [&](const char* name) { return lookAt(root, directory, name, store.findings); };
    const std::array<StoreFile, 3> files{look(em::kRegistryMain), look(em::kRegistryBackup),
                                         look(em::kRegistryDefault)};
    load(files);
    const auto taken = std::ranges::find(files, true, &StoreFile::taken);
    if (taken != files.end()) {
        store.file = taken->shown;
        store.isMisread = taken->isMisread;
    }
    const Seen place = root.look(directory);
    if (place.isDirectory()) {
        std::ranges::move(registrySaveObstacles(place.path(), directory), std::back_inserter(store.findings));
    }
    return store;
}

std::vector<Finding> storeFaults(const MachineRoot& root, const Store& store) {
    const std::string& directory = store.directory;
    const Seen place = root.look(store.directory);
    if (!place.isDirectory()) {
        return {{directory, 0, "store-directory-missing",
                 "there is no such directory: nothing is read or saved"}};
    }
    const Seen main = root.look(joined(store.directory, em::kRegistryMain));
    if (store.file.empty() && store.findings.empty()) {
        return {{directory, 0, "registry-missing", "none of its files gives a value"}};
    }
    if (main.missing() && !store.file.empty()) {
        return {{joined(directory, em::kRegistryMain), 0, "registry-fallback",
                 fmt::format("is not there, {} is read", store.file)}};
    }
    return {};
}

} // namespace volad_dev

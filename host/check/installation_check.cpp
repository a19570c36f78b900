#include "host/check/installation_check.h"

#include <algorithm>
#include <iterator>
#include <optional>
#include <string>

#include <fmt/format.h>

#include "catalogue/message_directory.h"
#include "contract/module_interface.h"
#include "contract/places.h"
#include "frame/configuration/installation_roots.h"
#include "platform/registry/registry.h"

namespace volad_dev {
namespace {

namespace place = em::place;

bool isText(int32_t type) {
    return type == em::REG_TYPE_STRING || type == em::REG_TYPE_EXPAND;
}

// Of a value of the product key's sub-key; none where it is not there.
std::optional<int32_t> typeOf(const char* subkey, const char* name) {
    em::CRegistry key;
    if (!em::openProductKey(key, subkey) || key.GetValue(name) != em::REG_SUCCESS) {
        return std::nullopt;
    }
    return key.ValueType();
}

class Look {
public:
    Look(const MachineRoot& root, const Store& store) : m_root(root), m_store(store) {}

    std::vector<Finding> run() {
        const bool located = lookAtLocator();
        if (lookAtProductKey(located)) {
            lookAtRoots();
            lookAtProperty();
        }
        return m_found;
    }

private:
    void add(const char* code, const std::string& text) { m_found.push_back({m_store.file, 0, code, text}); }

    // Whether the locator tells where the product key is.
    bool lookAtLocator() {
        em::CRegistry locator;
        if (locator.OpenPointersKey() != em::REG_SUCCESS ||
            locator.GetValue(place::kLocatorValue) != em::REG_SUCCESS) {
            return false;
        }
        if (!isText(locator.ValueType())) {
            add("locator-not-text", fmt::format("the locator \"{}\" is no text, \"{}\" counts",
                                                place::kLocatorValue, place::kDefaultProductKey));
            return false;
        }
        return true;
    }

    bool lookAtProductKey(bool located) {
        em::CRegistry key;
        if (em::openProductKey(key, "")) {
            return true;
        }
        add(located ? "locator-leads-nowhere" : "product-key-missing",
            fmt::format("{} \"{}\" is not there: there are no roots and no properties",
                        located ? "the locator's key" : "the key", em::productKeyPath()));
        return false;
    }

    void lookAtRoots() {
        const em::InstallationRoots roots = em::findInstallationRoots();
        const char* const binaries = roots.binRoot.empty() ? place::kFileRoot : place::kBinRoot;
        const size_t before = m_found.size();
        lookAtType(place::kSetupKey, place::kBinRoot);
        if (roots.binRoot.empty()) {
            lookAtType(place::kSetupKey, place::kFileRoot);
        }
        lookAtType(place::kDataKey, place::kDataRoot);
        if (!roots.binRoot.empty() || !roots.fileRoot.empty()) {
            lookAtDirectory(binaries, em::messageDirectory(roots, ""));
            std::ranges::move(checkBinRoot(m_store), std::back_inserter(m_found));
        } else if (m_found.size() == before) {
            add("roots-missing", "neither BinRoot nor FileRoot is set: message files are searched where the "
                                 "host stands, and nowhere else");
        }
        lookAtDirectory(place::kDataRoot, em::registeredData(place::kDataRoot));
    }

    void lookAtType(const char* subkey, const char* name) {
        const std::optional<int32_t> type = typeOf(subkey, name);
        if (type && !isText(*type)) {
            add("root-not-text", fmt::format("{} is no text and counts as missing", name));
        }
    }

    void lookAtDirectory(const char* name, const std::string& directory) {
        if (directory.empty()) {
            return;
        }
        if (!directory.starts_with('/')) {
            add("root-not-absolute",
                fmt::format("{} \"{}\" begins where the host stands, which a job may move", name, directory));
        } else if (!m_root.look(directory).isDirectory()) {
            add("root-directory-missing", fmt::format("{}: there is no directory \"{}\"", name, directory));
        }
    }

    void lookAtProperty() {
        const std::optional<int32_t> type = typeOf(em::kModuleName, place::kPowerSwitchProperty);
        if (type && *type != em::REG_TYPE_DWORD) {
            add("property-not-a-number",
                fmt::format("\"{}\" is no dword and counts as on", place::kPowerSwitchProperty));
        }
    }

    const MachineRoot& m_root;
    const Store& m_store;
    std::vector<Finding> m_found;
};

} // namespace

// Two searches use BinRoot: that for message files takes "/a/b" as it is, that for a module's configuration
// file cuts it behind its last "/".
std::vector<Finding> checkBinRoot(const Store& store) {
    const std::string binRoot = em::findInstallationRoots().binRoot;
    if (store.isMisread || binRoot.empty() || binRoot.ends_with('/')) {
        return {};
    }
    const std::optional<std::string> searched = em::binaryPath({binRoot, ""});
    return {{store.file, 0, "binroot-without-separator",
             fmt::format("BinRoot \"{}\" does not end in \"/\": configuration files are searched {}", binRoot,
                         searched ? fmt::format("in \"{}/\"", *searched) : "nowhere below it")}};
}

std::vector<Finding> checkInstallation(const MachineRoot& root, const Store& store) {
    if (store.file.empty() || store.isMisread) {
        return {}; // what is wrong is one thing, and told by the store
    }
    return Look(root, store).run();
}

} // namespace volad_dev

// What the registry says about the installation: locator, product key, roots, properties, and the module's
// configuration file.
#pragma once

#include <vector>

#include "host/check/machine_root.h"
#include "host/check/store_check.h"
#include "host/check/surroundings.h"
#include "host/files/findings.h"

namespace volad_dev {

// All of these look into the registry that readStore has read.
[[nodiscard]] std::vector<Finding> checkInstallation(const MachineRoot& root, const Store& store);
// That of BinRoot's last separator alone.
[[nodiscard]] std::vector<Finding> checkBinRoot(const Store& store);

// A configuration file of the module that the search finds, for one extension.
struct ConfigurationFile {
    std::string extension;
    std::string path;                  // the one that is taken
    std::vector<std::string> shadowed; // those of the same name behind it
};
struct ConfigurationFiles {
    std::vector<std::string> places; // directories in the order in which they are searched
    std::vector<ConfigurationFile> files;
    std::vector<std::string> directories; // that have such a name, and are passed over
};
[[nodiscard]] ConfigurationFiles findConfigurationFiles(const MachineRoot& root, const Surroundings& host);
[[nodiscard]] std::vector<Finding> checkConfigurationFiles(const Store& store,
                                                           const ConfigurationFiles& found);

} // namespace volad_dev

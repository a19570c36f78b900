#include "host/files/check_command.h"

#include <fmt/format.h>
#include <memory>
#include <string>

#include "frame/configuration/installation_roots.h"
#include "host/files/registry_check.h"
#include "platform/registry/registry.h"

namespace volad_dev {
namespace {

struct CheckCommand {
    std::string directory; // of the registry store; empty: the fixed one
    bool json = false;
};

// Two searches use BinRoot: that for message files takes "/a/b" as it is, that for a module's configuration
// file cuts it behind its last "/".
void checkRoots(const std::string& directory, std::vector<RegistryComplaint>& complaints) {
    em::CRegistry::SetupTree(true, directory.c_str());
    const std::string binRoot = em::findInstallationRoots().binRoot;
    if (binRoot.empty() || binRoot.ends_with('/')) {
        return;
    }
    const std::string searched = binRoot.substr(0, binRoot.rfind('/') + 1);
    complaints.push_back(
        {directory, 0,
         fmt::format("BinRoot \"{}\" does not end in \"/\": configuration files are searched {}", binRoot,
                     searched.empty() ? "nowhere below it" : fmt::format("in \"{}\"", searched))});
}

int runCheckCommand(const CheckCommand& command) {
    const std::string directory = registryDirectory(command.directory);
    std::vector<RegistryComplaint> complaints = checkRegistryFiles(directory);
    checkRoots(directory, complaints);
    return printComplaints(complaints, command.json);
}

} // namespace

Command addCheckCommand(CLI::App& app) {
    const auto chosen = std::make_shared<CheckCommand>();
    CheckCommand& target = *chosen;
    CLI::App* const check =
        app.add_subcommand("check", "look over the registry's files and the installation's roots in them");
    check->add_option("--dir", target.directory, "the registry store's directory");
    check->add_flag("--json", target.json, "for programs");
    return {check, [chosen] { return runCheckCommand(*chosen); }};
}

} // namespace volad_dev

#include "host/files/check_command.h"

#include <fmt/format.h>
#include <memory>
#include <string>

#include "frame/configuration/installation_roots.h"
#include "host/common/option_checks.h"
#include "host/files/registry_check.h"
#include "platform/registry/registry.h"

namespace volad_dev {
namespace {

struct CheckCommand {
    std::string directory; // of the registry store; empty: the fixed one
    std::string json;      // file, empty for none
};

// Two searches use BinRoot: that for message files takes "/a/b" as it is, that for a module's configuration
// file cuts it behind its last "/".
void checkRoots(const std::string& directory, std::vector<Finding>& findings) {
    em::CRegistry::SetupTree(true, directory.c_str());
    const std::string binRoot = em::findInstallationRoots().binRoot;
    if (binRoot.empty() || binRoot.ends_with('/')) {
        return;
    }
    const std::string searched = binRoot.substr(0, binRoot.rfind('/') + 1);
    findings.push_back(
        {directory, 0, "binroot-without-separator",
         fmt::format("BinRoot \"{}\" does not end in \"/\": configuration files are searched {}", binRoot,
                     searched.empty() ? "nowhere below it" : fmt::format("in \"{}\"", searched))});
}

int runCheckCommand(const CheckCommand& command) {
    JsonOutput json(command.json);
    const std::string directory = registryDirectory(command.directory);
    std::vector<Finding> findings = checkRegistryFiles(directory);
    checkRoots(directory, findings);
    return printFindings(findings, json);
}

} // namespace

Command addCheckCommand(CLI::App& app) {
    const auto chosen = std::make_shared<CheckCommand>();
    CheckCommand& target = *chosen;
    CLI::App* const check =
        app.add_subcommand("check", "look over the registry's files and the roots in them");
    mustExist(check->add_option("--dir", target.directory, "the registry store's directory"),
              Existing::Directory);
    addJsonOption(*check, target.json);
    return {check, [chosen] { return runCheckCommand(*chosen); }, false};
}

} // namespace volad_dev

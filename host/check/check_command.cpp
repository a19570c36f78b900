#include "host/check/check_command.h"

#include <filesystem>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <fmt/format.h>

#include "host/check/effective_configuration.h"
#include "host/check/inspection.h"
#include "host/common/failure.h"
#include "host/common/option_checks.h"
#include "host/common/search_path.h"
#include "host/sandbox/environment_file.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

struct CheckCommand {
    std::string root = "/";
    std::string settings; // file, empty for none
    std::string store;    // directory; not empty: nothing but the store is looked at
    std::string path;     // PATH, empty for the service's or the default
    Surroundings host{"/", "", "", "", {}};
    bool show = false;
    std::string json; // file, empty for none
};

// The store alone, wherever it lies: a copy says nothing about this machine.
int checkStore(const std::string& directory, JsonOutput& json) {
    const MachineRoot machine("/");
    Store store = readStore(machine, fs::absolute(directory));
    std::vector<Finding> findings = std::move(store.findings);
    std::ranges::move(checkBinRoot(store), std::back_inserter(findings));
    return printAdvice(findings, json);
}

Surroundings surroundingsOf(const CheckCommand& command, const MachineRoot& root) {
    Surroundings host = command.host;
    if (!root.look(host.directory).isDirectory()) {
        throw Failure(fmt::format("--cwd: there is no directory \"{}\"{}", host.directory,
                                  command.root == "/" ? "" : " in " + command.root),
                      kExitUsage);
    }
    host.environmentFile = root.inside(host.environmentFile);
    const std::optional<Surroundings::Variable> path = host.variable("PATH");
    const bool given = !command.path.empty();
    host.path = given ? command.path : path ? path->value : kServicesPath;
    host.pathSource = given || host.environmentFile.empty() ? "PATH" : host.environmentFile;
    return host;
}

int checkMachineOf(const CheckCommand& command, JsonOutput& json) {
    const MachineRoot root(command.root);
    // What lies in the image is named by the path that it has there.
    const std::string file = root.inside(command.settings);
    const Settings settings =
        file.empty() ? Settings{} : parseSettings(readSettingsText(command.settings), file);
    const Inspection inspection = inspect(root, surroundingsOf(command, root), settings, file);
    if (command.show) {
        printConfiguration(effectiveConfiguration(inspection), json);
        return kExitAsAsked;
    }
    return printAdvice(inspection.findings, json);
}

int runCheckCommand(const CheckCommand& command) {
    const bool looksFurther = command.root != "/" || !command.settings.empty() || command.show ||
                              !command.path.empty() || !command.host.environmentFile.empty() ||
                              command.host.directory != "/";
    if (!command.store.empty() && looksFurther) {
        throw Failure("--dir goes with --json only", kExitUsage);
    }
    JsonOutput json(command.json);
    return command.store.empty() ? checkMachineOf(command, json) : checkStore(command.store, json);
}

} // namespace

Command addCheckCommand(CLI::App& app) {
    const auto chosen = std::make_shared<CheckCommand>();
    CheckCommand& target = *chosen;
    CLI::App* const check = app.add_subcommand("check", "look over an installation for what is wrong in it");
    mustExist(check->add_option("--root", target.root, "where the machine's \"/\" lies, an image's say"),
              Existing::Directory)
        ->default_str("/");
    mustExist(check->add_option("--settings", target.settings, "the host's settings, for its job"),
              Existing::File);
    check->add_option("--path", target.path, "PATH of the host")->type_name("TEXT");
    mustExist(check->add_option_function<std::string>(
                  "--env-from",
                  [&target](const std::string& file) {
                      target.host.variables = readEnvironmentLines(file);
                      target.host.environmentFile = file;
                  },
                  "the host's environment, a service manager's file"),
              Existing::File);
    refuse(check->add_option("--cwd", target.host.directory, "where the host stands")
               ->type_name("DIR")
               ->default_str("/"),
           [](const std::string& value) {
               return value.starts_with('/')
                          ? std::string()
                          : fmt::format("--cwd must be an absolute path, not \"{}\"", value);
           });
    mustExist(
        check->add_option("--dir", target.store, "look at the registry store in there, and nothing else"),
        Existing::Directory);
    check->add_flag("--show", target.show, "print what counts, and where it comes from, instead");
    addJsonOption(*check, target.json);
    return {check, [chosen] { return runCheckCommand(*chosen); }, false};
}

} // namespace volad_dev

#include "host/check/inspection.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "contract/places.h"
#include "frame/configuration/installation_roots.h"
#include "host/check/permission_check.h"
#include "host/common/search_path.h"
#include "platform/registry/registry_names.h"

namespace volad_dev {
namespace {

namespace place = em::place;

void append(std::vector<Finding>& findings, std::vector<Finding> more) {
    std::ranges::move(more, std::back_inserter(findings));
}

void lookAtPrograms(PermissionCheck& check, const Inspection& inspection, const JobLook& job,
                    const Surroundings& host) {
    for (const std::vector<std::string>& programs : {inspection.machine.programs, job.programs}) {
        for (const std::string& program : programs) {
            check.file(program, Use::Run);
        }
    }
    for (const std::string& directory : directoriesOf(host.path)) {
        if (directory.starts_with('/')) {
            check.place(directory, Use::Run);
        }
    }
    // The agents' own script runs, as root, what stands in there.
    check.place(place::kRegistryDirectory, Use::Run);
    check.file(place::kRestartJobFile, Use::Run);
}

void lookAtFiles(PermissionCheck& check, const Inspection& inspection, const Surroundings& host) {
    check.place(place::kTraceConfigDirectory, Use::Read);
    for (const std::string& file : inspection.trace.files) {
        check.file(file, Use::Read);
    }
    for (const char* name : {em::kRegistryMain, em::kRegistryBackup, em::kRegistryDefault}) {
        check.file(joined(place::kRegistryDirectory, name), Use::Read);
    }
    const em::InstallationRoots roots = em::findInstallationRoots();
    for (const std::string& directory :
         {roots.binRoot, roots.fileRoot, em::registeredData(place::kDataRoot)}) {
        if (!directory.empty()) {
            check.place(pathFrom(host.directory, directory), Use::Read);
        }
    }
    if (!inspection.messages.path.empty()) {
        check.file(inspection.messages.path, Use::Read);
    }
    for (const ConfigurationFile& file : inspection.configuration.files) {
        check.file(file.path, Use::Read);
    }
}

} // namespace

Inspection inspect(const MachineRoot& root, const Surroundings& host, const Settings& settings,
                   const std::string& settingsFile) {
    Inspection result;
    result.settings = settings;
    result.settingsFile = settingsFile;
    result.trace = checkTrace(root, host);
    result.store = readStore(root, place::kRegistryDirectory);
    result.messages = checkMessages(root, host);
    result.configuration = findConfigurationFiles(root, host);
    result.machine = checkMachine(root, host);
    JobLook job = checkJob(root, host, settings, settingsFile);
    PermissionCheck permissions(root);
    lookAtPrograms(permissions, result, job, host);
    lookAtFiles(permissions, result, host);

    append(result.findings, result.trace.findings);
    append(result.findings, result.store.findings);
    append(result.findings, storeFaults(root, result.store));
    append(result.findings, checkInstallation(root, result.store));
    append(result.findings, checkConfigurationFiles(result.store, result.configuration));
    append(result.findings, result.messages.findings);
    append(result.findings, std::move(job.findings));
    append(result.findings, result.machine.findings);
    append(result.findings, permissions.take());
    return result;
}

} // namespace volad_dev

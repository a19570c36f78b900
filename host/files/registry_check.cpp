#include "host/files/registry_check.h"

#include <cerrno>
#include <filesystem>
#include <system_error>

#include <fmt/format.h>

#include "base/file_content.h"
#include "base/system.h"
#include "contract/places.h"
#include "host/common/failure.h"
#include "host/files/registry_obstacles.h"
#include "platform/registry/registry_names.h"
#include "platform/registry/registry_node.h"
#include "platform/registry/registry_reader.h"
#include "platform/registry/registry_writer.h"

namespace volad_dev {

std::vector<Finding> checkRegistryFile(const std::string& path, const std::string& shown,
                                       std::string_view name) {
    FileFindings findings;
    em::FileContent content;
    const int error = em::readRegularFile(path.c_str(), em::kRegistryLargestFile, 0, content);
    if (error == ENOENT) { // a file that was never written lacks nothing
        return findings.take();
    }
    if (error != 0) {
        findings.addAnyway(
            {shown, 0, "unreadable", "could not be read: " + std::generic_category().message(error)});
        return findings.take();
    }
    em::CRegistryNode root(0);
    const em::RegistryReading reading =
        em::readRegistry({content.data.get(), content.size}, root, [&](const em::RegistryFinding& finding) {
            findings.add({shown, finding.line, finding.code, finding.reason});
        });
    if (reading.carriageLine) { // whatever else was found follows from it
        findings = {};
        findings.addAnyway({shown, 0, "crlf-line-ends",
                            fmt::format("its lines end in CR LF: it is not read as it is meant{}",
                                        name == em::kRegistryMain ? ", and nothing is saved" : "")});
    }
    if (!reading.complete) {
        findings.addAnyway({shown, 0, "no-memory", "could not be read: no memory"});
    } else if (!reading.anyValue) {
        findings.addAnyway(
            {shown, 0, "no-value", "holds no value and is passed over when the store is read"});
        // Written out, not the file's own size: what is saved can be larger than what was read.
    } else if (em::writeRegistry(root).view().size() > em::kRegistryLargestFile) {
        findings.addAnyway(
            {shown, 0, "tree-too-large", "holds a tree that is too large to be read again, it is not saved"});
    }
    return findings.take();
}

std::vector<Finding> checkRegistryFiles(const std::string& directory) {
    std::vector<Finding> findings;
    for (const char* name : {em::kRegistryMain, em::kRegistryBackup, em::kRegistryDefault}) {
        for (Finding& finding : checkRegistryFile(directory + "/" + name, directory + "/" + name, name)) {
            findings.push_back(std::move(finding));
        }
    }
    for (Finding& obstacle : registrySaveObstacles(directory, directory)) {
        findings.push_back(std::move(obstacle));
    }
    return findings;
}

std::string registryDirectory(const std::string& given) {
    std::string directory = given.empty() ? em::sys::path(em::place::kRegistryDirectory) : given;
    if (!std::filesystem::is_directory(directory)) {
        throw Failure(fmt::format("there is no directory \"{}\"", directory));
    }
    return directory;
}

} // namespace volad_dev

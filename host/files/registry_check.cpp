#include "host/files/registry_check.h"

#include <cerrno>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include <fmt/format.h>

#include "base/file_content.h"
#include "base/system.h"
#include "contract/places.h"
#include "host/common/exit_code.h"
#include "host/common/visible_text.h"
#include "host/files/registry_obstacles.h"
#include "host/files/registry_text.h"
#include "platform/registry/registry_names.h"
#include "platform/registry/registry_node.h"
#include "platform/registry/registry_reader.h"
#include "platform/registry/registry_writer.h"

namespace volad_dev {

std::vector<RegistryComplaint> checkRegistryFile(const std::string& path) {
    std::vector<RegistryComplaint> complaints;
    em::FileContent content;
    const int error = em::readRegularFile(path.c_str(), em::kRegistryLargestFile, 0, content);
    if (error == ENOENT) { // a file that was never written lacks nothing
        return complaints;
    }
    if (error != 0) {
        complaints.push_back({path, 0, "could not be read: " + std::generic_category().message(error)});
        return complaints;
    }
    em::CRegistryNode root(0);
    const em::RegistryReading reading =
        em::readRegistry({content.data.get(), content.size}, root, [&](const em::RegistryFinding& finding) {
            complaints.push_back({path, finding.line, finding.reason});
        });
    if (!reading.complete) {
        complaints.push_back({path, 0, "could not be read: no memory"});
    } else if (!reading.anyValue) {
        complaints.push_back({path, 0, "holds no value and is passed over when the store is read"});
        // Written out, not the file's own size: what is saved can be larger than what was read.
    } else if (em::writeRegistry(root).view().size() > em::kRegistryLargestFile) {
        complaints.push_back({path, 0, "holds a tree that is too large to be read again, it is not saved"});
    }
    return complaints;
}

std::vector<RegistryComplaint> checkRegistryFiles(const std::string& directory) {
    std::vector<RegistryComplaint> complaints;
    for (const char* name : {em::kRegistryMain, em::kRegistryBackup, em::kRegistryDefault}) {
        for (RegistryComplaint& complaint : checkRegistryFile(directory + "/" + name)) {
            complaints.push_back(std::move(complaint));
        }
    }
    for (RegistryComplaint& obstacle : registrySaveObstacles(directory)) {
        complaints.push_back(std::move(obstacle));
    }
    return complaints;
}

std::string complaintText(const RegistryComplaint& complaint) {
    return visibleText(complaint.line == 0
                           ? fmt::format("{}: {}", complaint.file, complaint.reason)
                           : fmt::format("{}:{}: {}", complaint.file, complaint.line, complaint.reason));
}

int printComplaints(const std::vector<RegistryComplaint>& complaints, bool json) {
    std::vector<std::string> values;
    for (const RegistryComplaint& complaint : complaints) {
        if (json) {
            values.push_back(fmt::format(R"({{"file":{},"line":{},"reason":{}}})", jsonText(complaint.file),
                                         complaint.line, jsonText(complaint.reason)));
        } else {
            fmt::print("{}\n", complaintText(complaint));
        }
    }
    if (json) {
        printJsonArray(values);
    }
    return complaints.empty() ? kExitAsAsked : kExitOtherwise;
}

std::string registryDirectory(const std::string& given) {
    std::string directory = given.empty() ? em::sys::path(em::place::kRegistryDirectory) : given;
    if (!std::filesystem::is_directory(directory)) {
        throw std::runtime_error(fmt::format("there is no directory \"{}\"", directory));
    }
    return directory;
}

} // namespace volad_dev

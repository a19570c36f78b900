#include "host/registry_check.h"

#include <cerrno>
#include <system_error>

#include "platform/base/file_content.h"
#include "platform/registry_names.h"
#include "platform/registry_node.h"
#include "platform/registry_reader.h"

namespace volad_dev {

std::vector<RegistryComplaint> checkRegistryFile(const std::string& path) {
    std::vector<RegistryComplaint> complaints;
    em::FileContent content;
    const int error = em::ReadRegularFile(path.c_str(), em::kRegistryLargestFile, 0, content);
    if (error == ENOENT) {
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
    }
    return complaints;
}

} // namespace volad_dev

#include "host/check/program_search.h"

#include "host/common/search_path.h"

namespace volad_dev {

std::optional<std::string> findProgram(const MachineRoot& root, const Surroundings& host,
                                       const std::string& name) {
    for (const std::string& directory : directoriesOf(host.path)) {
        std::string path = joined(pathFrom(host.directory, directory), name);
        if (root.look(path).isProgram()) {
            return path;
        }
    }
    return std::nullopt;
}

std::string programOf(const std::string& commandLine) {
    return commandLine.substr(0, commandLine.find_first_of(" \t\n"));
}

} // namespace volad_dev

#include "host/launch/module_files.h"

#include <filesystem>

#include "host/common/tool_files.h"

namespace volad_dev {

namespace fs = std::filesystem;

void placeModuleFiles(std::string& module, std::string& settings, std::string& messages) {
    if (module.empty()) {
        module = moduleFile();
    }
    for (std::string* const path : {&module, &settings, &messages}) {
        if (!path->empty()) {
            *path = fs::absolute(*path);
        }
    }
}

std::vector<NeededPath> neededPaths(const std::string& module, const std::string& messages,
                                    const std::vector<std::string>& jobPlaces) {
    std::vector<NeededPath> needed = {{"the module", module}};
    needed.reserve(jobPlaces.size() + 2);
    if (!messages.empty()) {
        needed.push_back({"the message file", messages});
    }
    for (const std::string& place : jobPlaces) {
        needed.push_back({"the job needs", place});
    }
    return needed;
}

} // namespace volad_dev

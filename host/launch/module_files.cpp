#include "host/launch/module_files.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "host/common/tool_files.h"

namespace volad_dev {

namespace fs = std::filesystem;

std::string pathInside(const std::string& path) {
    const fs::path absolute = fs::absolute(path);
    std::error_code failed; // what is not there is told by who reads it
    if (std::ranges::find(absolute, "..") != absolute.end()) {
        const fs::path directory = fs::canonical(absolute.parent_path(), failed);
        return failed ? absolute : directory / absolute.filename();
    }
    return absolute;
}

void placeModuleFiles(std::string& module, std::string& settings, std::string& messages) {
    if (module.empty()) {
        module = moduleFile();
    }
    for (std::string* const path : {&module, &settings, &messages}) {
        if (!path->empty()) {
            *path = pathInside(*path);
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

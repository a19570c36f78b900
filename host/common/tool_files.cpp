#include "host/common/tool_files.h"

#include <filesystem>

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

// Relative to the tool's directory, so that an installation may be moved as a whole.
constexpr const char* kInstalledHelpers = EM_HELPERS_FROM_TOOL;
constexpr const char* kInstalledModules = EM_MODULES_FROM_TOOL;

fs::path toolDirectory() {
    return fs::read_symlink("/proc/self/exe").parent_path();
}

std::string besideOr(const char* installed, const std::string& name) {
    const fs::path directory = toolDirectory();
    const fs::path beside = directory / name;
    std::error_code failed;
    return fs::exists(beside, failed) ? beside : (directory / installed / name).lexically_normal();
}

} // namespace

std::string helperFile(const std::string& name) {
    return besideOr(kInstalledHelpers, name);
}

std::string moduleFile() {
    return besideOr(kInstalledModules, "em_shutdown.so");
}

std::vector<std::string> toolDirectories() {
    const std::string tool = toolDirectory();
    const std::string helpers = fs::path(helperFile("volad-dev-gate")).parent_path();
    return helpers == tool ? std::vector{tool} : std::vector{tool, helpers};
}

} // namespace volad_dev

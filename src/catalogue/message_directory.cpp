#include "catalogue/message_directory.h"

namespace em {
namespace {

// A root of separators alone becomes "", the root directory.
std::string withoutTrailingSeparators(const std::string& directory) {
    return directory.substr(0, directory.find_last_not_of("/\\") + 1);
}

} // namespace

std::string messageDirectory(const InstallationRoots& roots, const std::string& otherwise) {
    if (!roots.binRoot.empty()) {
        return withoutTrailingSeparators(roots.binRoot);
    }
    if (!roots.fileRoot.empty()) {
        return withoutTrailingSeparators(roots.fileRoot) + "/Bin";
    }
    return otherwise;
}

} // namespace em

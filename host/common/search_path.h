// The directories of a PATH.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

namespace volad_dev {

// What a service manager gives its services.
inline constexpr char kServicesPath[] = "/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin";

// In the order in which a shell searches them, an empty one as it stands: it means the current directory.
[[nodiscard]] inline std::vector<std::string> directoriesOf(const std::string& path) {
    std::vector<std::string> directories;
    for (size_t begin = 0; begin <= path.size();) {
        const size_t end = std::min(path.find(':', begin), path.size());
        directories.push_back(path.substr(begin, end - begin));
        begin = end + 1;
    }
    return directories;
}

} // namespace volad_dev

#include "host/common/interpreter_line.h"

#include <algorithm>
#include <string_view>

namespace volad_dev {

std::optional<std::string> interpreterIn(std::string firstBytes) {
    std::string& line = firstBytes;
    line.resize(std::min({line.size(), kInterpreterLine, line.find_first_of(std::string_view("\n\0", 2))}));
    if (!line.starts_with("#!")) {
        return std::nullopt;
    }
    const size_t begin = line.find_first_not_of(" \t", 2);
    if (begin == std::string::npos) {
        return std::nullopt;
    }
    return line.substr(begin, line.find_first_of(" \t", begin) - begin);
}

} // namespace volad_dev

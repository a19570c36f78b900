// What of the host's process decides where the module finds things.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace volad_dev {

struct Surroundings {
    std::string directory;              // where it stands
    std::string path;                   // its PATH
    std::string environmentFile;        // where its variables were read, empty for none
    std::vector<std::string> variables; // "NAME=value"; a later one wins

    // Where a finding about PATH belongs.
    [[nodiscard]] const std::string& pathSource() const {
        static const std::string kName = "PATH";
        return environmentFile.empty() ? kName : environmentFile;
    }
    [[nodiscard]] std::optional<std::string> variable(const std::string& name) const {
        std::optional<std::string> value;
        for (const std::string& assignment : variables) {
            if (assignment.starts_with(name + "=")) {
                value = assignment.substr(name.size() + 1);
            }
        }
        return value;
    }
};

} // namespace volad_dev

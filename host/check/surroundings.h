// What of the host's process decides where the module finds things.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "host/sandbox/environment_file.h"

namespace volad_dev {

struct Surroundings {
    std::string directory;                  // where it stands
    std::string path;                       // its PATH
    std::string pathSource;                 // where a finding about PATH belongs
    std::string environmentFile;            // where its variables were read, empty for none
    std::vector<EnvironmentLine> variables; // a later one wins

    struct Variable {
        std::string value;
        size_t line; // of the environment's file
    };
    [[nodiscard]] std::optional<Variable> variable(const std::string& name) const {
        const auto found =
            std::find_if(variables.rbegin(), variables.rend(),
                         [&](const EnvironmentLine& each) { return each.variable.starts_with(name + "="); });
        return found == variables.rend()
                   ? std::nullopt
                   : std::optional(Variable{found->variable.substr(name.size() + 1), found->number});
    }
};

} // namespace volad_dev

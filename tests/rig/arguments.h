// What the command line of a suite says beyond what the test framework takes.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace em::test {

inline std::vector<std::string> arguments;

// The number behind "--name=", or otherwise.
inline uint64_t argumentOr(std::string_view name, uint64_t otherwise) {
    const std::string option = "--" + std::string(name) + "=";
    for (const std::string& argument : arguments) {
        if (argument.starts_with(option)) {
            return std::stoull(argument.substr(option.size()));
        }
    }
    return otherwise;
}

} // namespace em::test

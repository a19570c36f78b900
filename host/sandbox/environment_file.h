// A service's environment as the service manager reads it from a file.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace volad_dev {

struct EnvironmentLine {
    std::string variable; // "NAME=value"
    size_t number = 0;    // of the line on which it begins, from 1
};

// One variable for each line that is neither blank nor a comment ("#", ";"). A value may be quoted, by
// "'" as it stands, by '"' with a backslash in front of '"', "\", "`" and "$"; outside of quotes a backslash
// takes the next character as it is, and one at the end of a line joins the next one. Blanks around a value
// are dropped. Throws Failure (kExitUsage) naming file and line: no assignment, a quote that is not closed, a
// name that may not be set inside, or a file that cannot be read.
[[nodiscard]] std::vector<EnvironmentLine> readEnvironmentLines(const std::string& file);
[[nodiscard]] std::vector<std::string> readEnvironmentFile(const std::string& file);

// Why the variable of this "NAME=value" may not be set inside; empty when it may.
[[nodiscard]] std::string variableFault(const std::string& assignment);

} // namespace volad_dev

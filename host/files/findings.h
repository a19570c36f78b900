// What a check has to name, as text and for programs.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "host/common/json_output.h"

namespace volad_dev {

struct Finding {
    std::string file;
    size_t line;      // 0: the file as a whole
    const char* code; // a word for programs, with its severity and its remedy in a table
    std::string text; // continues "FILE:LINE: "
};

// "file:line: text", without a line "file: text"; one line, whatever the names hold.
[[nodiscard]] std::string findingText(const Finding& finding);
// A line each on standard output, unless the JSON goes there, and as JSON where that is asked for. Returns
// the tool's exit code, 1 when there is one. Throws Failure.
[[nodiscard]] int printFindings(const std::vector<Finding>& findings, JsonOutput& json);

} // namespace volad_dev

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
    const char* code; // a row of finding_codes.h
    std::string text; // continues "FILE:LINE: ", without a stop
};

// Those of one file, which may hold anything: the first thousand, and the number of the others.
class FileFindings {
public:
    void add(Finding finding);
    void addAnyway(Finding finding); // about the file as a whole
    [[nodiscard]] bool empty() const { return m_findings.empty(); }
    [[nodiscard]] std::vector<Finding> take();

private:
    std::vector<Finding> m_findings;
    size_t m_more = 0;
};

// "file:line: text", without a line "file: text"; one line, whatever the names hold.
[[nodiscard]] std::string findingText(const Finding& finding);
// A line each on standard output, unless the JSON goes there, and as JSON where that is asked for. Returns
// the tool's exit code, 1 when there is one. Throws Failure.
[[nodiscard]] int printFindings(const std::vector<Finding>& findings, JsonOutput& json);
// The same with severity and remedy in each line; the exit code is 1 only when one is an error.
[[nodiscard]] int printAdvice(const std::vector<Finding>& findings, JsonOutput& json);

} // namespace volad_dev

// The codes of all findings, one row each: the tool, its documentation and its tests walk this table.
#pragma once

#include <span>
#include <string_view>

namespace volad_dev {

// An error costs something: what a file holds is lost, a save or a shutdown does not happen, the trace stays
// off, or somebody else may run a program as root. A warning is likely not what was meant.
enum class Severity { Error, Warning };

[[nodiscard]] constexpr const char* nameOf(Severity severity) {
    return severity == Severity::Error ? "error" : "warning";
}

struct FindingCode {
    std::string_view code; // a word for programs
    Severity severity;
    const char* meaning; // of all findings with this code
    const char* remedy;  // a sentence
};

[[nodiscard]] std::span<const FindingCode> findingCodes();

// Codes come from other rooms, too: one that is missing in the table is a defect of it, std::logic_error.
[[nodiscard]] const FindingCode& findingCode(std::string_view code);

} // namespace volad_dev

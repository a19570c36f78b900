#include "host/files/findings.h"

#include <algorithm>
#include <array>
#include <optional>
#include <stdexcept>
#include <string_view>

#include <fmt/format.h>

#include "host/common/exit_code.h"
#include "host/common/json_writer.h"
#include "host/common/visible_text.h"

namespace volad_dev {
namespace {

// An error costs something: what a file holds is lost, or a save does not happen. A warning is likely not
// what was meant.
constexpr const char* kError = "error";
constexpr const char* kWarning = "warning";

struct Kind {
    std::string_view code;
    const char* severity;
    const char* remedy;
};
constexpr std::array<Kind, 29> kKinds{{
    // Lines of a registry file, as its reader names them.
    {"nul", kError, "Remove the NUL byte and what is behind it in the line."},
    {"behind-key-name", kError, "Remove what stands behind the \"]\"."},
    {"too-deep", kError, "Move the key up."},
    {"lone-cr", kError, "Let each line end in a newline alone, without a CR."},
    {"no-equals-sign", kError, "Write NAME=TYPE=DATA, or remove the line."},
    {"no-type", kError, "Write =s=, =es=, =b= or =d= behind the name, or remove the line."},
    {"no-number", kError, "Write a decimal number behind =d=, or remove the line."},
    {"number-too-large", kError, "Write a decimal number of 32 bits and nothing behind it."},
    {"not-hexadecimal", kError, "Write pairs of hexadecimal digits with blanks between them."},
    {"above-a-byte", kError, "Write pairs of hexadecimal digits with blanks between them."},
    {"behind-the-end", kError, "Remove the empty line too many above it, or what is behind the end."},
    {"key-left-open", kWarning, "See whether the file was cut; close each key with an empty line."},
    {"name-twice", kWarning, "Keep one line of that name."},
    {"name-of-value-and-key", kWarning, "Rename the value or the key."},
    // Registry files as a whole.
    {"unreadable", kError, "Mend what the system's error names."},
    {"no-memory", kError, "Free memory, then check again."},
    {"no-value", kWarning, "Remove the file, or take it from a backup."},
    {"tree-too-large", kError, "Delete keys."},
    {"directory-not-writable", kError, "Let the user that saves write to the directory."},
    {"symbolic-link", kError, "Put the file itself in the link's place."},
    {"name-of-a-directory", kError, "Remove or rename the directory."},
    {"lock-refused", kError, "Remove the lock file; the next save makes it."},
    {"lock-held", kError, "Find and end the process that keeps the lock, then check again."},
    // The roots of the installation.
    {"binroot-without-separator", kWarning, "Let BinRoot end in \"/\"."},
    // Message files.
    {"not-loaded", kError, "Mend the XML."},
    {"no-events", kError, "Take a file with EventMsg, Events and Event elements."},
    {"no-code", kError, "Give the event its ErrorCode."},
    {"code-twice", kWarning, "Keep the first event of that code: no other is found."},
    {"no-english-summary", kError, "Give its first Messages element in \"en\" a Summary."},
}};

// Codes come from other rooms, too: one that is missing here is a defect of this table.
const Kind& kindOf(const Finding& finding) {
    const auto* const kind =
        std::find_if(kKinds.begin(), kKinds.end(), [&](const Kind& row) { return row.code == finding.code; });
    if (kind == kKinds.end()) {
        throw std::logic_error(fmt::format("\"{}\" is no finding's code", finding.code));
    }
    return *kind;
}

std::string jsonOf(const std::vector<Finding>& findings) {
    JsonWriter json;
    json.beginDocument();
    json.beginArray("findings");
    for (const Finding& finding : findings) {
        const Kind& kind = kindOf(finding);
        json.beginObject();
        json.member("severity", kind.severity);
        json.member("file", finding.file);
        json.member("line", finding.line != 0 ? std::optional<size_t>(finding.line) : std::nullopt);
        json.member("code", finding.code);
        json.member("text", finding.text);
        json.member("do", kind.remedy);
        json.endObject();
    }
    json.endArray();
    json.endObject();
    return json.document();
}

} // namespace

std::string findingText(const Finding& finding) {
    return visibleText(finding.line == 0
                           ? fmt::format("{}: {}", finding.file, finding.text)
                           : fmt::format("{}:{}: {}", finding.file, finding.line, finding.text));
}

int printFindings(const std::vector<Finding>& findings, JsonOutput& json) {
    if (!json.takesStandardOutput()) {
        for (const Finding& finding : findings) {
            fmt::print("{}\n", findingText(finding));
        }
    }
    if (json.asked()) {
        json.write(jsonOf(findings));
    }
    return findings.empty() ? kExitAsAsked : kExitOtherwise;
}

} // namespace volad_dev

#include "host/files/findings.h"

#include <algorithm>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "host/common/exit_code.h"
#include "host/common/json_writer.h"
#include "host/common/visible_text.h"
#include "host/files/finding_codes.h"

namespace volad_dev {
namespace {

std::string jsonOf(const std::vector<Finding>& findings) {
    JsonWriter json;
    json.beginDocument();
    json.beginArray("findings");
    for (const Finding& finding : findings) {
        const FindingCode& code = findingCode(finding.code);
        json.beginObject();
        json.member("severity", nameOf(code.severity));
        json.member("file", finding.file);
        json.member("line", finding.line != 0 ? std::optional<size_t>(finding.line) : std::nullopt);
        json.member("code", finding.code);
        json.member("text", finding.text);
        json.member("do", code.remedy);
        json.endObject();
    }
    json.endArray();
    json.endObject();
    return json.document();
}

std::string adviceText(const Finding& finding) {
    const FindingCode& code = findingCode(finding.code);
    return fmt::format("{}: {}. {}", nameOf(code.severity), findingText(finding), code.remedy);
}

bool isError(const Finding& finding) {
    return findingCode(finding.code).severity == Severity::Error;
}

void writeFindings(const std::vector<Finding>& findings, JsonOutput& json,
                   std::string (*line)(const Finding&)) {
    if (!json.takesStandardOutput()) {
        for (const Finding& finding : findings) {
            fmt::print("{}\n", line(finding));
        }
    }
    if (json.asked()) {
        json.write(jsonOf(findings));
    }
}

constexpr size_t kMostOfAFile = 1000;

} // namespace

void FileFindings::add(Finding finding) {
    if (m_findings.size() < kMostOfAFile) {
        m_findings.push_back(std::move(finding));
    } else {
        ++m_more;
    }
}

void FileFindings::addAnyway(Finding finding) {
    m_findings.push_back(std::move(finding));
}

std::vector<Finding> FileFindings::take() {
    if (m_more != 0) {
        m_findings[kMostOfAFile - 1].text += fmt::format(", and {} findings more in this file", m_more);
    }
    return std::move(m_findings);
}

std::string findingText(const Finding& finding) {
    return visibleText(finding.line == 0
                           ? fmt::format("{}: {}", finding.file, finding.text)
                           : fmt::format("{}:{}: {}", finding.file, finding.line, finding.text));
}

int printFindings(const std::vector<Finding>& findings, JsonOutput& json) {
    writeFindings(findings, json, findingText);
    return findings.empty() ? kExitAsAsked : kExitOtherwise;
}

int printAdvice(const std::vector<Finding>& findings, JsonOutput& json) {
    writeFindings(findings, json, adviceText);
    return std::ranges::any_of(findings, isError) ? kExitOtherwise : kExitAsAsked;
}

} // namespace volad_dev

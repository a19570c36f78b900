#include "host/drive/line_parts.h"

#include <optional>

#include <fmt/format.h>

#include "contract/operation_codes.h"
#include "contract/shutdown_actions.h"
#include "host/common/option_checks.h"
#include "host/drive/code_names.h"

namespace volad_dev {
namespace {

constexpr double kMostSeconds = 24 * 60 * 60;

} // namespace

void refuseWord(const std::string& what, const std::string& wanted, const std::string& given) {
    throw ScriptFault(given.empty() ? fmt::format("{} is missing: {}", what, wanted)
                                    : fmt::format("{} must be {}, not \"{}\"", what, wanted, given));
}

double secondsOf(const std::string& word, const char* what) {
    const std::optional<double> seconds = plainNumber(word);
    if (!seconds || !(*seconds <= kMostSeconds)) {
        refuseWord(what, fmt::format("a number of seconds from 0 to {}", kMostSeconds), word);
    }
    return *seconds;
}

uint32_t numberOf(const std::string& word, const char* what) {
    const std::optional<uint32_t> number = plainCode(word);
    if (!number) {
        refuseWord(what, "a number from 0 to 4294967295", word);
    }
    return *number;
}

uint32_t operationOf(const std::string& word) {
    const std::optional<uint32_t> code = operationCodeOf(word);
    if (!code) {
        refuseWord(
            "the operation",
            fmt::format("a code or one of {}, {}", namesOf(em::kShutdownActions), namesOf(em::kOperations)),
            word);
    }
    return *code;
}

Member memberOf(LineScanner& line) {
    const std::string name = line.wordUpTo("=");
    const std::string_view key = memberKey(name);
    if (!line.take('=') || key.empty()) {
        throw ScriptFault(fmt::format("\"{}\" is no KEY=VALUE; the keys are {}", name, memberNames()));
    }
    const bool json = line.atText() || line.atStructure();
    return {key, json ? line.json() : memberValue(line.word())};
}

std::vector<Member> membersOf(LineScanner& line, bool stopsAtWithin) {
    std::vector<Member> members;
    while (!line.atEnd()) {
        LineScanner ahead = line;
        if (stopsAtWithin && ahead.takeWord(kWithin)) {
            break;
        }
        members.push_back(memberOf(line));
    }
    return members;
}

} // namespace volad_dev

// What several verbs take: numbers, seconds, codes, KEY=VALUE. Each throws ScriptFault for what does not fit.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "host/drive/envelope_form.h"
#include "host/drive/line_scanner.h"

namespace volad_dev {

// Behind a condition, in front of the seconds.
inline constexpr std::string_view kWithin = "within";

// The names of a table's rows, for a refusal: "a, b, c".
template <class Rows>
std::string namesOf(const Rows& rows) {
    std::string names;
    for (const auto& row : rows) {
        names += names.empty() ? row.name : std::string(", ") + row.name;
    }
    return names;
}

// "WHAT must be WANTED, not "GIVEN"", or that it is missing.
[[noreturn]] void refuseWord(const std::string& what, const std::string& wanted, const std::string& given);

// At most a day.
[[nodiscard]] double secondsOf(const std::string& word, const char* what);
[[nodiscard]] uint32_t numberOf(const std::string& word, const char* what);
[[nodiscard]] uint32_t operationOf(const std::string& word);
// KEY=VALUE; the value is a word, or JSON.
[[nodiscard]] Member memberOf(LineScanner& line);
// The same as often as it comes, up to the end or, where stopsAtWithin is set, that word.
[[nodiscard]] std::vector<Member> membersOf(LineScanner& line, bool stopsAtWithin);

} // namespace volad_dev

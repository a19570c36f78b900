#include "host/drive/expectation_parser.h"

#include <optional>
#include <string>
#include <string_view>

#include <fmt/format.h>

#include "contract/shutdown_status.h"
#include "host/common/option_checks.h"
#include "host/drive/code_names.h"
#include "host/drive/line_parts.h"

namespace volad_dev {
namespace {

// The result of slot 8.
constexpr std::string_view kHandled = "handled";
constexpr std::string_view kUnhandled = "unhandled";

// Up to the end or "within S", which is taken.
std::string textOf(LineScanner& line, Expectation& expectation, bool mayTakeTime) {
    if (line.atText()) {
        return line.text();
    }
    std::string text = line.rest();
    const std::string mark = fmt::format(" {} ", kWithin);
    const size_t at = text.rfind(mark);
    LineScanner behind(at == std::string::npos ? "" : std::string_view(text).substr(at + mark.size()));
    const std::string time = behind.word();
    if (mayTakeTime && plainNumber(time) && behind.atEnd()) {
        expectation.within = secondsOf(time, "the time");
        text.resize(text.find_last_not_of(" \t", at) + 1);
    }
    return text;
}

uint32_t shutdownStatus(LineScanner& line) {
    std::string words;
    for (LineScanner ahead = line; !line.atEnd() && !ahead.takeWord(kWithin); ahead = line) {
        words += (words.empty() ? "" : " ") + line.word();
    }
    const std::optional<uint32_t> status = statusOf(words);
    if (!status) {
        refuseWord("the status",
                   fmt::format("a number or one of {}", fmt::join(em::kShutdownStatusNames, ", ")), words);
    }
    return *status;
}

// Each may come once or not at all, but one of them does.
void takeAnswer(LineScanner& line, Expectation& expectation) {
    if (line.atEnd()) {
        refuseWord("the answer", "handled, unhandled, a status, KEY=VALUE, JSON or \"TEXT\"", "");
    }
    while (!line.atEnd()) {
        LineScanner ahead = line;
        const std::optional<uint32_t> status = plainCode(ahead.word());
        if (line.atStructure()) {
            expectation.json = line.json();
        } else if (line.atText()) {
            expectation.sought = line.text();
        } else if (line.takeWord(kUnhandled)) {
            expectation.handled = false;
        } else if (line.takeWord(kHandled)) {
            expectation.handled = true;
        } else if (status) {
            expectation.code = status;
            line = ahead;
        } else {
            expectation.members.push_back(memberOf(line));
        }
    }
}

void takeSeen(LineScanner& line, Expectation& expectation, bool mayTakeTime) {
    switch (expectation.seen) {
    case Seen::Status:
        expectation.code = shutdownStatus(line);
        break;
    case Seen::Answer:
        takeAnswer(line, expectation);
        break;
    case Seen::Trace:
        expectation.sought = textOf(line, expectation, mayTakeTime);
        if (expectation.sought.empty()) {
            refuseWord("the text", "trace TEXT", "");
        }
        break;
    case Seen::Message:
        expectation.code = operationOf(line.word());
        expectation.members = membersOf(line, mayTakeTime);
        break;
    case Seen::Command: {
        LineScanner ahead = line;
        if (!line.atEnd() && !ahead.takeWord(kWithin)) {
            const std::string word = line.word();
            expectation.action = actionOfCommand(word);
            if (expectation.action == nullptr) {
                refuseWord("the command", "one of " + commandNames(), word);
            }
        }
        break;
    }
    }
}

} // namespace

Expectation expectationOf(LineScanner& line, Verb verb) {
    const bool now = verb == Verb::Expect;
    Expectation expectation{};
    expectation.absent = now && line.takeWord("no");
    const LineScanner begin = line;
    const std::string name = line.word();
    const SeenRow* const row = findRow(kSeen, name);
    if (row == nullptr || (!now && !row->comes)) {
        std::string names;
        for (const SeenRow& each : kSeen) {
            if (now || each.comes) {
                names += (names.empty() ? "" : ", ") + std::string(each.name);
            }
        }
        refuseWord("what is waited for or expected", "one of " + names, name);
    }
    expectation.seen = row->seen;
    takeSeen(line, expectation, !now);
    expectation.text =
        row->seen == Seen::Trace ? fmt::format("trace \"{}\"", expectation.sought) : line.takenSince(begin);
    if (!now && line.takeWord(kWithin)) {
        expectation.within = secondsOf(line.word(), "the time");
    }
    return expectation;
}

} // namespace volad_dev

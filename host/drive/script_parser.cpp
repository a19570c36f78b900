#include "host/drive/script_parser.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "contract/notifications.h"
#include "contract/operation_codes.h"
#include "contract/shutdown_status.h"
#include "host/common/failure.h"
#include "host/common/option_checks.h"
#include "host/common/visible_text.h"
#include "host/drive/code_names.h"
#include "host/drive/line_scanner.h"
#include "host/drive/power_off_moment.h"
#include "host/hosting/settings.h"

namespace volad_dev {
namespace {

constexpr double kMostSeconds = 24 * 60 * 60;
constexpr std::string_view kWithin = "within";

template <class Rows>
std::string namesOf(const Rows& rows) {
    std::string names;
    for (const auto& row : rows) {
        names += names.empty() ? row.name : std::string(", ") + row.name;
    }
    return names;
}

[[noreturn]] void refuse(const std::string& what, const std::string& wanted, const std::string& given) {
    throw ScriptFault(given.empty() ? fmt::format("{} is missing: {}", what, wanted)
                                    : fmt::format("{} must be {}, not \"{}\"", what, wanted, given));
}

double secondsOf(const std::string& word, const char* what) {
    const std::optional<double> seconds = plainNumber(word);
    if (!seconds || !(*seconds <= kMostSeconds)) {
        refuse(what, fmt::format("a number of seconds from 0 to {}", kMostSeconds), word);
    }
    return *seconds;
}

uint32_t numberOf(const std::string& word, const char* what) {
    const std::optional<uint32_t> number = plainCode(word);
    if (!number) {
        refuse(what, "a number from 0 to 4294967295", word);
    }
    return *number;
}

uint32_t operationOf(const std::string& word) {
    const std::optional<uint32_t> code = operationCodeOf(word);
    if (!code) {
        refuse("the operation",
               fmt::format("a code or one of {}, {}", namesOf(em::kShutdownActions),
                           namesOf(em::opcode::kNames)),
               word);
    }
    return *code;
}

// KEY=VALUE; the value is a word, or JSON.
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

EnvelopeForm envelopeForm(LineScanner& line) {
    EnvelopeForm form;
    if (line.atStructure()) {
        form.json = line.json();
    } else {
        form.operationCode = operationOf(line.word());
        form.members = membersOf(line, false);
    }
    return form;
}

// Checked with settings of its own: that it fits does not depend on what is known already.
SettingChange settingChange(LineScanner& line, const std::string& directory) {
    SettingChange change{line.word(), {}, {}};
    if (line.atEnd()) {
        refuse(change.key.empty() ? "the key" : "the value", "answer KEY VALUE, or none for no value", "");
    }
    Settings unused;
    try {
        LineScanner ahead = line;
        const std::string word = ahead.word();
        if (ahead.atEnd() && word == "none") {
            line = ahead;
            dropSetting(unused, change.key, "");
            return change;
        }
        if (ahead.atEnd() && change.key == "powerOffTimes" && (change.moment = parseMoment(word))) {
            line = ahead;
            return change;
        }
        change.value = line.jsonToEnd();
        if (!change.value && line.atText()) {
            throw ScriptFault("a text in quotes has no end, or something behind it");
        }
        if (!change.value) {
            change.value = jsonText(line.rest()); // a text needs no quotes
        }
        changeSetting(unused, change.key, *change.value, "", directory);
    } catch (const Failure& failure) {
        throw ScriptFault(std::string(failure.what()).substr(std::string_view(": ").size()));
    }
    return change;
}

Maintenance maintenanceOf(const std::string& word) {
    for (const Maintenance each : {Maintenance::On, Maintenance::Off, Maintenance::ToolMissing}) {
        if (word == nameOf(each)) {
            return each;
        }
    }
    refuse("maintenance", "on, off or missing", word);
}

// Up to the end or "within S", which is taken.
std::string textOf(LineScanner& line, Expectation& expectation, bool mayTakeTime) {
    if (line.atText()) {
        return line.text();
    }
    std::string text = line.rest();
    const std::string mark = fmt::format(" {} ", kWithin);
    const size_t at = text.rfind(mark);
    if (mayTakeTime && at != std::string::npos) {
        if (const std::optional<double> seconds = plainNumber(text.substr(at + mark.size()))) {
            expectation.within = *seconds;
            text.resize(text.find_last_not_of(" \t", at) + 1);
        }
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
        refuse("the status", fmt::format("a number or one of {}", fmt::join(em::kShutdownStatusNames, ", ")),
               words);
    }
    return *status;
}

void takeAnswer(LineScanner& line, Expectation& expectation) {
    if (line.atStructure()) {
        expectation.json = line.json();
    } else if (line.atText()) {
        expectation.sought = line.text();
    } else if (line.atEnd()) {
        refuse("the answer", kSeen[static_cast<size_t>(Seen::Answer)].arguments, "");
    } else {
        LineScanner ahead = line;
        if (const std::optional<uint32_t> status = plainCode(ahead.word())) {
            expectation.code = status;
            line = ahead;
        }
        expectation.members = membersOf(line, false);
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
            refuse("the text", "trace TEXT", "");
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
                refuse("the command", "poweroff, reboot or halt", word);
            }
        }
        break;
    }
    }
}

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
        refuse("what is waited for or expected", "one of " + names, name);
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

} // namespace

std::string ScriptParser::place() const {
    return fmt::format("{}:{}", m_name, m_line);
}

std::optional<Statement> ScriptParser::next(std::string_view line) {
    ++m_line;
    try {
        if (LineScanner(line).atEnd()) {
            return std::nullopt;
        }
        Statement statement = parse(line);
        checkOrder(statement);
        return statement;
    } catch (const ScriptFault& fault) {
        throw Failure(fmt::format("{}: {}", place(), visibleText(fault.what())), kExitUsage);
    }
}

Statement ScriptParser::parse(std::string_view whole) {
    LineScanner line(whole);
    const LineScanner begin = line;
    Statement statement{nullptr, m_line, "", {}};
    const std::string name = line.word();
    statement.verb = findRow(kVerbs, name);
    if (statement.verb == nullptr) {
        throw ScriptFault(fmt::format("there is no verb \"{}\"; there are {}", name, namesOf(kVerbs)));
    }
    switch (statement.verb->verb) {
    case Verb::Cabinet:
        statement.arguments = numberOf(line.word(), "the cabinet");
        break;
    case Verb::Request:
    case Verb::Reply:
        statement.arguments = envelopeForm(line);
        break;
    case Verb::Cancel:
        statement.arguments = EnvelopeForm{{}, em::opcode::CM_ShutdownRequestCancelled, {}};
        break;
    case Verb::Status:
        statement.arguments = EnvelopeForm{{}, em::opcode::kShutdownStatusQuery, {}};
        break;
    case Verb::Notify: {
        const std::string word = line.word();
        const std::optional<uint32_t> code = notificationOf(word);
        if (!code) {
            refuse("the notification", "a code or one of " + namesOf(em::kNotifications), word);
        }
        statement.arguments = *code;
        break;
    }
    case Verb::Answer:
        statement.arguments = settingChange(line, m_directory);
        break;
    case Verb::Maintenance:
        statement.arguments = maintenanceOf(line.word());
        break;
    case Verb::Sleep:
        statement.arguments = secondsOf(line.word(), "the time");
        break;
    case Verb::Wait:
    case Verb::Expect:
    case Verb::Refuse: {
        Expectation expectation = expectationOf(line, statement.verb->verb);
        statement.arguments = std::move(expectation);
        break;
    }
    case Verb::Create:
    case Verb::Start:
    case Verb::SecondStart:
    case Verb::Stop:
    case Verb::Delete:
        break;
    }
    if (!line.atEnd()) {
        throw ScriptFault(fmt::format("\"{}\" is too much for {}", line.rest(), syntaxOf(*statement.verb)));
    }
    statement.text = line.takenSince(begin);
    return statement;
}

// A script has no branches: what is there at a line is known when it is read.
void ScriptParser::checkOrder(const Statement& statement) {
    const Expectation* const expectation = std::get_if<Expectation>(&statement.arguments);
    const bool asksStatus =
        expectation != nullptr && expectation->seen == Seen::Status && statement.verb->verb == Verb::Expect;
    if ((statement.verb->needsModule || asksStatus) && !m_hasModule) {
        throw ScriptFault(fmt::format("there is no module for {}: create comes first", statement.verb->name));
    }
    if (expectation != nullptr && expectation->seen == Seen::Answer && !m_hasAnswer) {
        throw ScriptFault("nothing was answered yet: request comes first");
    }
    switch (statement.verb->verb) {
    case Verb::Create:
        m_hasModule = true;
        break;
    case Verb::Delete:
        m_hasModule = false;
        break;
    case Verb::Request:
    case Verb::Cancel:
    case Verb::Status:
        m_hasAnswer = true;
        break;
    default:
        break;
    }
}

} // namespace volad_dev

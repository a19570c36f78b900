#include "host/drive/script_parser.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "contract/notifications.h"
#include "contract/operation_codes.h"
#include "host/common/failure.h"
#include "host/common/visible_text.h"
#include "host/drive/code_names.h"
#include "host/drive/expectation_parser.h"
#include "host/drive/line_buffer.h"
#include "host/drive/line_parts.h"
#include "host/drive/line_scanner.h"
#include "host/drive/power_off_moment.h"
#include "host/hosting/settings.h"

namespace volad_dev {
namespace {

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
        refuseWord(change.key.empty() ? "the key" : "the value", "answer KEY VALUE, or none for no value",
                   "");
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
    refuseWord("maintenance", "on, off or missing", word);
}

} // namespace

std::string ScriptParser::place() const {
    return fmt::format("{}:{}", m_name, m_line);
}

std::optional<Statement> ScriptParser::next(std::string_view line) {
    ++m_line;
    try {
        if (line.size() >= LineBuffer::kLongestLine) { // a longer one comes in pieces of that size
            throw ScriptFault(fmt::format("a line must have fewer than {} bytes", LineBuffer::kLongestLine));
        }
        if (line.find('\0') != std::string_view::npos) {
            throw ScriptFault("a line may hold no NUL byte");
        }
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
            refuseWord("the notification", "a code or one of " + namesOf(em::kNotifications), word);
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
    case Verb::Refuse:
        statement.arguments = expectationOf(line, statement.verb->verb);
        break;
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

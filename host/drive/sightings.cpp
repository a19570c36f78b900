#include "host/drive/sightings.h"

#include <utility>

#include <fmt/format.h>

#include "contract/operation_codes.h"
#include "contract/shutdown_status.h"
#include "host/drive/code_names.h"

namespace volad_dev {
namespace {

bool isReportOf(const Message& message, std::optional<uint32_t> status) {
    return !message.toModule && message.opcode == em::opcode::kShutdownStatusChanged &&
           (!status || message.data == *status);
}

bool isCommandOf(const CommandRecord& record, const em::ShutdownAction* action) {
    return action == nullptr || record.name == action->command;
}

} // namespace

void Sightings::begin() {
    const size_t messages = m_host.journal().messages().size();
    m_begin = {messages, m_trace.end(), messages, commands().size()};
    m_marks = m_begin;
}

std::vector<CommandRecord> Sightings::commands() const {
    return readCommands(m_recorder, m_host.jobWatch().sighting()).ofModule;
}

// As it was told last; a module begins without one.
uint32_t Sightings::statusIn(const std::vector<Message>& messages) const {
    for (size_t i = messages.size(); i > m_begin.status; --i) {
        if (isReportOf(messages[i - 1], std::nullopt)) {
            return messages[i - 1].data;
        }
    }
    return static_cast<uint32_t>(em::ShutdownStatus::None);
}

// What was told behind the mark, or before and is still so.
std::optional<Sightings::Found> Sightings::findStatus(const Expectation& expectation, size_t from) const {
    const std::string what = "status " + statusText(*expectation.code);
    const std::vector<Message> messages = m_host.journal().messages();
    for (size_t i = from; i < messages.size(); ++i) {
        if (isReportOf(messages[i], expectation.code)) {
            return Found{i + 1, what};
        }
    }
    return statusIn(messages) == expectation.code ? std::optional(Found{messages.size(), what})
                                                  : std::nullopt;
}

std::optional<Sightings::Found> Sightings::findTrace(const Expectation& expectation, size_t from) const {
    const std::optional<TraceLog::Line> line = m_trace.find(expectation.sought, from);
    return line ? std::optional(Found{line->number + 1, fmt::format("\"{}\"", line->text)}) : std::nullopt;
}

std::optional<Sightings::Found> Sightings::findMessage(const Expectation& expectation, size_t from) const {
    const std::vector<Message> messages = m_host.journal().messages();
    for (size_t i = from; i < messages.size(); ++i) {
        const Message& message = messages[i];
        if (!message.toModule && message.opcode == *expectation.code &&
            hasMembers(readEnvelope(message.envelope), expectation.members)) {
            return Found{i + 1, message.envelope};
        }
    }
    return std::nullopt;
}

std::optional<Sightings::Found> Sightings::findCommand(const Expectation& expectation, size_t from) const {
    const std::vector<CommandRecord> records = commands();
    for (size_t i = from; i < records.size(); ++i) {
        if (isCommandOf(records[i], expectation.action)) {
            return Found{i + 1, records[i].commandLine()};
        }
    }
    return std::nullopt;
}

std::optional<Sightings::Found> Sightings::find(const Expectation& expectation, const Marks& marks) const {
    switch (expectation.seen) {
    case Seen::Status:
        return findStatus(expectation, marks.status);
    case Seen::Trace:
        return findTrace(expectation, marks.trace);
    case Seen::Message:
        return findMessage(expectation, marks.message);
    case Seen::Command:
        return findCommand(expectation, marks.command);
    case Seen::Answer:
        break; // not the module's to send
    }
    return std::nullopt;
}

std::optional<std::string> Sightings::take(const Expectation& expectation) {
    std::optional<Found> found = find(expectation, m_marks);
    if (!found) {
        return std::nullopt;
    }
    size_t& mark = expectation.seen == Seen::Status    ? m_marks.status
                   : expectation.seen == Seen::Trace   ? m_marks.trace
                   : expectation.seen == Seen::Message ? m_marks.message
                                                       : m_marks.command;
    mark = found->next;
    return std::move(found->what);
}

std::optional<std::string> Sightings::find(const Expectation& expectation) const {
    std::optional<Found> found = find(expectation, m_begin);
    return found ? std::optional(std::move(found->what)) : std::nullopt;
}

std::vector<int> Sightings::news(Seen seen) const {
    switch (seen) {
    case Seen::Status:
    case Seen::Message:
        return {m_host.journal().fd()};
    case Seen::Trace:
        return {m_trace.fd()};
    case Seen::Command:
        return {m_recorder.fd(), m_host.jobWatch().fd()};
    case Seen::Answer:
        break;
    }
    return {};
}

std::string Sightings::seen(const Expectation& expectation) const {
    switch (expectation.seen) {
    case Seen::Status:
        return "status " + statusText(statusIn(m_host.journal().messages()));
    case Seen::Trace: {
        const std::string last = m_trace.last();
        return m_trace.end() == m_begin.trace ? "no line" : fmt::format("\"{}\" as the last line", last);
    }
    case Seen::Message: {
        const std::vector<Message> messages = m_host.journal().messages();
        for (size_t i = messages.size(); i > m_begin.message; --i) {
            if (!messages[i - 1].toModule) {
                return fmt::format("{} as the last message", messages[i - 1].envelope);
            }
        }
        return "no message";
    }
    case Seen::Command: {
        const std::vector<CommandRecord> records = commands();
        return records.size() <= m_begin.command ? "no command" : records.back().commandLine();
    }
    case Seen::Answer:
        break;
    }
    return "";
}

} // namespace volad_dev

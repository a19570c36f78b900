#include "host/drive/sightings.h"

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
uint32_t Sightings::status() const {
    const std::vector<Message> messages = m_host.journal().messages();
    for (size_t i = messages.size(); i > m_begin.status; --i) {
        if (isReportOf(messages[i - 1], std::nullopt)) {
            return messages[i - 1].data;
        }
    }
    return static_cast<uint32_t>(em::ShutdownStatus::None);
}

std::optional<size_t> Sightings::findMessage(size_t from, uint32_t code,
                                             const std::vector<Member>& members) const {
    const std::vector<Message> messages = m_host.journal().messages();
    for (size_t i = from; i < messages.size(); ++i) {
        const Message& message = messages[i];
        if (!message.toModule && message.opcode == code &&
            hasMembers(readEnvelope(message.envelope), members)) {
            return i + 1;
        }
    }
    return std::nullopt;
}

std::optional<size_t> Sightings::find(const Expectation& expectation, const Marks& marks) const {
    switch (expectation.seen) {
    case Seen::Status: {
        const std::vector<Message> messages = m_host.journal().messages();
        for (size_t i = marks.status; i < messages.size(); ++i) {
            if (isReportOf(messages[i], expectation.code)) {
                return i + 1;
            }
        }
        // Told before the mark, and still so.
        return status() == expectation.code ? std::optional(messages.size()) : std::nullopt;
    }
    case Seen::Trace: {
        const std::optional<size_t> found = m_trace.find(expectation.sought, marks.trace);
        return found ? std::optional(*found + 1) : std::nullopt;
    }
    case Seen::Message:
        return findMessage(marks.message, *expectation.code, expectation.members);
    case Seen::Command: {
        const std::vector<CommandRecord> records = commands();
        for (size_t i = marks.command; i < records.size(); ++i) {
            if (isCommandOf(records[i], expectation.action)) {
                return i + 1;
            }
        }
        return std::nullopt;
    }
    case Seen::Answer:
        break;
    }
    return std::nullopt;
}

bool Sightings::take(const Expectation& expectation) {
    const std::optional<size_t> behind = find(expectation, m_marks);
    if (behind) {
        size_t& mark = expectation.seen == Seen::Status    ? m_marks.status
                       : expectation.seen == Seen::Trace   ? m_marks.trace
                       : expectation.seen == Seen::Message ? m_marks.message
                                                           : m_marks.command;
        mark = *behind;
    }
    return behind.has_value();
}

bool Sightings::has(const Expectation& expectation) const {
    return find(expectation, m_begin).has_value();
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
        return "status " + statusText(status());
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

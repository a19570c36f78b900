#include "host/run/message_line.h"

#include <string_view>

#include <fmt/format.h>

#include "contract/envelope.h"
#include "contract/trace_lines.h"

namespace volad_dev {
namespace {

uint32_t numberAt(const TraceLine& line, size_t index, int base) {
    return static_cast<uint32_t>(line.fields.number(index, base).value_or(0));
}

MessageLine::Direction directionOf(std::string_view tag) {
    return tag.find(em::line::kReturnTag) != std::string_view::npos  ? MessageLine::Direction::Return
           : tag.find(em::line::kReplyTag) != std::string_view::npos ? MessageLine::Direction::Reply
                                                                     : MessageLine::Direction::Request;
}

std::string envelopeAround(std::string_view members) {
    return fmt::format(R"({{"{}":{{"{}":{},"{}":[{{{}}}]}}}})", em::key::Envelope, em::key::Version,
                       em::kEnvelopeVersion, em::key::Commands, members);
}

// A status that is shown as the one of a missing "ST" is taken for that.
std::string envelopeOf(const TraceLine& line, const MessageLine& message) {
    const MessageFields& fields = line.kind->message;
    std::string members = fmt::format("\"{}\":{}", em::key::OperationCode, message.operationCode);
    const auto add = [&members](std::string_view key, uint32_t value) {
        members += fmt::format(",\"{}\":{}", key, value);
    };
    const auto addUnlessZero = [&add](std::string_view key, uint32_t value) {
        if (value != 0) {
            add(key, value);
        }
    };
    addUnlessZero(em::key::Extension, numberAt(line, fields.extension, 16));
    addUnlessZero(em::key::ObjectId, numberAt(line, fields.objectId, 16));
    if (fields.cabinet != 0) {
        add(em::key::Cabinet, numberAt(line, fields.cabinet, 10));
    }
    addUnlessZero(em::key::MessageId,
                  numberAt(line, fields.messageIdHigh, 16) << 16 | numberAt(line, fields.messageIdLow, 16));
    if (message.status != em::status::kMissing) {
        add(em::key::Status, message.status);
    }
    if (message.data) {
        add(em::key::Data, *message.data);
    }
    return envelopeAround(members);
}

} // namespace

std::string envelopeText(uint32_t operationCode, uint32_t data) {
    return envelopeAround(
        fmt::format("\"{}\":{},\"{}\":{}", em::key::OperationCode, operationCode, em::key::Data, data));
}

MessageLine readMessageLine(const TraceLine& line) {
    const MessageFields& fields = line.kind->message;
    MessageLine message = {directionOf(line.fields.text(0)), numberAt(line, fields.operationCode, 16),
                           numberAt(line, fields.status, 16), std::nullopt, ""};
    if (fields.data != 0) {
        message.data = numberAt(line, fields.data, 10);
    }
    message.envelope = envelopeOf(line, message);
    return message;
}

} // namespace volad_dev

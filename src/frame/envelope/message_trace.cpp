#include "frame/envelope/message_trace.h"

#include <string>

#include "base/swallow.h"
#include "contract/trace_lines.h"
#include "frame/json/json_text.h"
#include "trace/trace.h"

namespace em {

namespace {

struct Formats {
    const char* withoutCabinet;
    const char* withCabinet;
};

// One row for each form of the data.
constexpr Formats kHeaderOnly = {line::kMessage, line::kMessageOfCabinet};
constexpr Formats kNumber = {line::kMessageWithNumber, line::kMessageOfCabinetWithNumber};
constexpr Formats kBytes = {line::kMessageWithBytes, line::kMessageOfCabinetWithBytes};
constexpr Formats kStructured = {line::kMessageWithStructure, line::kMessageOfCabinetWithStructure};

// Two halves and not one number: "%04X%04X" is how the lines have always shown a message id.
unsigned lowHalf(uint32_t value) {
    return value & 0xFFFF;
}
unsigned highHalf(uint32_t value) {
    return value >> 16;
}

// As template arguments the formats are constants to g++, which checks them against the arguments; clang asks
// for literals.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"

// The fields show "four" and "two hex digits", so they get no more than that.
template <const Formats& formats, class... Item>
void writeLine(uint32_t level, const std::string& name, const SipJson& envelope, Item... item) {
    const unsigned operationCode = lowHalf(envelope.GetUint(key::OperationCode, 0));
    const unsigned extension = lowHalf(envelope.GetUint(key::Extension, 0));
    const unsigned objectId = lowHalf(envelope.GetUint(key::ObjectId, 0));
    const uint32_t messageId = envelope.GetUint(key::MessageId, 0);
    const unsigned shownStatus = envelope.GetUint(key::Status, status::kMissing) & 0xFF;
    if (envelope.HasMember(key::Cabinet)) {
        const int cabinet = asInt(envelope.GetUint(key::Cabinet, 0));
        EM_TRACE(level, formats.withCabinet, name.c_str(), operationCode, extension, objectId, cabinet,
                 highHalf(messageId), lowHalf(messageId), shownStatus, item...);
    } else {
        EM_TRACE(level, formats.withoutCabinet, name.c_str(), operationCode, extension, objectId,
                 highHalf(messageId), lowHalf(messageId), shownStatus, item...);
    }
}

#pragma GCC diagnostic pop

int dataNumber(const SipJson& envelope) {
    uint32_t number = 0; // stays so for a number beyond 32 bits
    return envelope.GetDataUint(number) ? asInt(number) : 0;
}

void writeMessage(const char* moduleName, const char* tag, const SipJson& envelope, uint32_t level) {
    const std::string name = std::string(textOr(moduleName)) + tag;
    if (!envelope.HasData()) {
        writeLine<kHeaderOnly>(level, name, envelope);
    } else if (envelope.GetDataType() == JsonType::Number) {
        writeLine<kNumber>(level, name, envelope, dataNumber(envelope));
    } else if (envelope.IsStructuredData()) {
        writeLine<kStructured>(level, name, envelope, json::compactText(*envelope.FindData()).c_str());
    } else {
        writeLine<kBytes>(level, name, envelope, asInt(envelope.GetDataByteCount()));
    }
}

// A line whose text cannot be made, for want of memory, is dropped like one that cannot be written.
void traceMessage(const char* moduleName, const char* tag, const SipJson& envelope, uint32_t level) {
    if (traceWillWrite(level)) {
        static_cast<void>(swallow([&] { writeMessage(moduleName, tag, envelope, level); }));
    }
}

} // namespace

void TraceRequest(const char* moduleName, const SipJson& envelope, uint32_t level) {
    traceMessage(moduleName, line::kRequestTag, envelope, level);
}

void TraceReturn(const char* moduleName, const SipJson& envelope, uint32_t level) {
    traceMessage(moduleName, line::kReturnTag, envelope, level);
}

void TraceReply(const char* moduleName, const SipJson& envelope, uint32_t level) {
    traceMessage(moduleName, line::kReplyTag, envelope, level);
}

} // namespace em

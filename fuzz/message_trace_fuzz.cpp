// Envelopes and module names of every kind in the message trace: what is handed to the host's debug object
// has one of the known formats, so that no text of a message is ever one; it is one line, and where the name
// is the module's, the trace's reader finds that message in it, and nothing else, whatever the data says.
#include <algorithm>
#include <cerrno>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

#include <rapidjson/document.h>

#include "contract/module_interface.h"
#include "contract/trace_lines.h"
#include "envelope_builder.h"
#include "frame/envelope/message_trace.h"
#include "host/run/message_line.h"
#include "host/run/trace_scanner.h"
#include "input.h"
#include "trace_sink.h"

namespace {

using em::SipJson;
using fuzz::require;
namespace line = em::line;

constexpr unsigned kLevel = 2;
constexpr const char* kFormats[] = {line::kMessage,
                                    line::kMessageOfCabinet,
                                    line::kMessageWithNumber,
                                    line::kMessageOfCabinetWithNumber,
                                    line::kMessageWithBytes,
                                    line::kMessageOfCabinetWithBytes,
                                    line::kMessageWithStructure,
                                    line::kMessageOfCabinetWithStructure};

struct Direction {
    void (*trace)(const char* moduleName, const SipJson& envelope, uint32_t level);
    const char* tag;
    volad_dev::MessageLine::Direction read;
};
constexpr Direction kDirections[] = {
    {&em::TraceRequest, line::kRequestTag, volad_dev::MessageLine::Direction::Request},
    {&em::TraceReturn, line::kReturnTag, volad_dev::MessageLine::Direction::Return},
    {&em::TraceReply, line::kReplyTag, volad_dev::MessageLine::Direction::Reply},
};

void requireReadBack(const std::string& text, const SipJson& envelope, const Direction& direction) {
    size_t found = 0;
    volad_dev::TraceScanner scanner([&](const volad_dev::TraceLine& read) {
        require(read.kind->event == volad_dev::TraceEvent::Message && ++found == 1);
        const volad_dev::MessageLine message = volad_dev::readMessageLine(read);
        require(message.direction == direction.read);
        require(message.operationCode == (envelope.GetUint("OC", 0) & 0xFFFF));
        require(message.status == (envelope.GetUint("ST", em::status::kMissing) & 0xFF));
        const bool isNumber = envelope.HasData() && envelope.GetDataType() == em::JsonType::Number;
        uint32_t number = 0;
        require(message.data.has_value() == isNumber);
        require(!isNumber || !envelope.GetDataUint(number) || *message.data == number);
        require(!rapidjson::Document().Parse(message.envelope.c_str()).HasParseError());
    });
    scanner.take(text);
    scanner.take("\n");
    scanner.finish();
    require(found == 1);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    const em::fake::Scope script;
    fuzz::Trace trace(kLevel);
    fuzz::Input input(bytes, size);
    const Direction& direction = kDirections[input.below(std::size(kDirections))];
    const std::string name = input.below(4) != 0 ? em::kModuleName : input.cText();
    SipJson envelope;
    fuzz::EnvelopeBuilder(input).fill(envelope);

    direction.trace(name.c_str(), envelope, kLevel + 1);
    require(trace.lines().empty());
    errno = EXFULL;
    direction.trace(name.c_str(), envelope, kLevel);
    require(errno == EXFULL && trace.lines().size() == 1);
    const auto& [format, text] = trace.lines().front();
    require(std::find(std::begin(kFormats), std::end(kFormats), format) != std::end(kFormats));
    require(text.starts_with("\n" + name + direction.tag));
    if (name == em::kModuleName) {
        const bool hasStructure = text.find("Data (JSON struct):\n") != std::string::npos;
        require(std::count(text.begin(), text.end(), '\n') == (hasStructure ? 2 : 1));
        requireReadBack(text, envelope, direction);
    }
    return 0;
}

// Envelopes of every shape through every reader and writer and the copy. RapidJSON's assertions are on: a
// look-up in a value of the wrong type ends the run, as does what contradicts another reader.
#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "envelope_builder.h"
#include "frame/envelope/sip_json.h"
#include "frame/json/json_text.h"
#include "frame/json/json_tree.h"
#include "input.h"

namespace {

using em::JsonValue;
using em::SipJson;
using fuzz::require;
namespace json = em::json;

void read(const SipJson& envelope, const std::string& key) {
    static_cast<void>(envelope.GetUint(key, 22));
    static_cast<void>(envelope.CheckEnvelope());
    static_cast<void>(envelope.IsStructuredData());
    require(envelope.HasMember(key) == (envelope.FindMember(key) != nullptr));
    require(envelope.HasData() || envelope.GetDataLength() == 0);
    require(!envelope.HasValidData() || envelope.HasData());

    std::vector<uint8_t> bytes = {1};
    require(envelope.GetDataBytes(bytes) || bytes.empty());
    require(envelope.GetDataByteCount() == bytes.size());

    uint32_t number = 0;
    uint32_t answer = 0;
    require(!envelope.GetDataUint(number) || (envelope.GetAnswerUint(answer) && answer == number));
    std::string text;
    std::string cut;
    require(envelope.GetDataString(text) == envelope.GetAnswerText(cut));
    require(cut == text.substr(0, text.find('\0')));
    JsonValue object;
    envelope.GetDataObject(object);
    require(json::isObject(&object) == (envelope.GetDataType() == em::JsonType::Object));
    json::release(object);
}

// A removal moves the last member into the gap: one of an equal key may come to be the first, which counts.
bool hasEqualKeys(const JsonValue& command) {
    std::vector<std::string_view> names;
    for (const em::JsonMember& member : json::members(&command)) {
        names.push_back(json::text(member.name).value_or(""));
    }
    std::sort(names.begin(), names.end());
    return std::adjacent_find(names.begin(), names.end()) != names.end();
}

void write(SipJson& envelope, fuzz::Input& input) {
    const auto word = input.number<uint32_t>();
    const JsonValue* const command = envelope.CommandAt();
    bool written = command != nullptr && !hasEqualKeys(*command);
    switch (input.below(6)) {
    case 0:
        envelope.SetCommand(word, word & 1, word & 2, word, word);
        require(!written || envelope.HasMember("OE") || (word & 1) == 0);
        break;
    case 1:
        envelope.SetOpcode(word, word & 1, word & 2);
        break;
    case 2:
        envelope.SetStatus(word);
        break;
    case 3:
        envelope.SetNumberData(static_cast<uint8_t>(word), static_cast<int32_t>(word));
        break;
    case 4: {
        const std::string_view taken = input.take(word % 64);
        const std::vector<uint8_t> bytes(taken.begin(), taken.end());
        envelope.SetRawData(bytes.data(), static_cast<uint32_t>(bytes.size()));
        std::vector<uint8_t> back;
        require(!written || (envelope.GetDataBytes(back) && back == bytes));
        return;
    }
    default:
        envelope.InitEnvelope();
        written = false;
        break;
    }
    require(!written || envelope.GetUint("OC", word) == word || envelope.GetUint("ST", word) == word);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
    fuzz::Input input(bytes, size);
    fuzz::EnvelopeBuilder builder(input);
    SipJson envelope;
    builder.fill(envelope);
    // Each round copies all commands, of which a far cursor makes 65,536: in all so many.
    constexpr int kCopied = 100'000;
    constexpr int kRounds = 1000;
    const int commands = std::clamp(envelope.cursor, 1, kCopied / 2);
    for (int rounds = std::min(kCopied / commands, kRounds); rounds > 0 && !input.empty(); --rounds) {
        read(envelope, builder.key());
        SipJson copy(envelope);
        require(json::compactText(copy.root) == json::compactText(envelope.root));
        write(copy, input);
        envelope = copy;
    }
    return 0;
}

// Envelopes of every shape through every reader and writer and the copy. RapidJSON's assertions are on: a
// look-up in a value of the wrong type ends the run, as does what contradicts another reader.
#include <cstdint>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "frame/envelope/sip_json.h"
#include "frame/json/json_text.h"
#include "frame/json/json_tree.h"
#include "input.h"

namespace {

using em::JsonValue;
using em::SipJson;
using fuzz::require;
namespace json = em::json;

constexpr const char* kKeys[] = {"SIP", "V", "CMD", "OC", "OE", "OI", "CA", "ST", "MI", "DA", "RAW", "a"};
constexpr unsigned kDeepest = 300; // beyond the depth at which the copy changes its way

class Builder {
public:
    explicit Builder(fuzz::Input& input) : m_input(input) {}

    // Mostly an envelope's shape, since little is read from others.
    void fill(SipJson& envelope) {
        envelope.cursor =
            m_input.below(256) == 0 ? m_input.number<int32_t>() : static_cast<int>(m_input.below(6)) - 1;
        if (m_input.below(8) == 0) {
            envelope.root = value(0);
            return;
        }
        envelope.InitEnvelope();
        for (unsigned commands = m_input.below(4); commands > 0; --commands) {
            JsonValue* const list = json::member(json::member(&envelope.root, "SIP"), "CMD");
            json::append(*list, m_input.flag() ? object(0) : value(0));
        }
        if (m_input.flag()) {
            json::setMember(*json::member(&envelope.root, "SIP"), key(), value(0));
        }
    }

    std::string key() {
        return m_input.below(16) == 0 ? m_input.text(21) : kKeys[m_input.below(std::size(kKeys))];
    }

    JsonValue value(unsigned depth) {
        const auto type = static_cast<Kind>(m_input.below(kKinds));
        if (m_input.empty() || depth == kDeepest) {
            return {};
        }
        switch (type) {
        case Kind::Bool:
            return JsonValue(m_input.flag());
        case Kind::Object:
            return object(depth);
        case Kind::Array:
            return array(depth);
        case Kind::Text:
            return json::ownedText(m_input.text(41));
        case Kind::DigitText:
            return json::ownedText((m_input.flag() ? "0x" : "0") +
                                   std::to_string(m_input.number<uint64_t>()));
        case Kind::Word:
            return json::number(m_input.number<uint32_t>());
        case Kind::Unsigned:
            return JsonValue(m_input.number<uint64_t>());
        case Kind::Signed:
            return JsonValue(m_input.number<int64_t>());
        case Kind::Real:
            return JsonValue(m_input.number<double>());
        case Kind::Plain:
            break;
        }
        return JsonValue(m_input.flag() ? rapidjson::kNumberType : rapidjson::kNullType);
    }

private:
    enum class Kind { Bool, Object, Array, Text, DigitText, Word, Unsigned, Signed, Real, Plain };
    static constexpr unsigned kKinds = static_cast<unsigned>(Kind::Plain) + 1;

    JsonValue object(unsigned depth) {
        JsonValue result = json::newObject(0);
        for (unsigned left = m_input.below(9); left > 0; --left) {
            json::append(result, key(), value(depth + 1));
        }
        return result;
    }

    JsonValue array(unsigned depth) {
        JsonValue result = json::newArray(0);
        for (unsigned left = m_input.below(7); left > 0; --left) {
            json::append(result, value(depth + 1));
        }
        return result;
    }

    fuzz::Input& m_input;
};

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

void write(SipJson& envelope, fuzz::Input& input) {
    const auto word = input.number<uint32_t>();
    bool written = envelope.CommandAt() != nullptr;
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
    Builder builder(input);
    SipJson envelope;
    builder.fill(envelope);
    // Each copy of a far cursor's 65,536 commands costs as much as hundreds of others.
    constexpr int kFar = 1000;
    for (int rounds = envelope.cursor > kFar ? 3 : kFar; rounds > 0 && !input.empty(); --rounds) {
        read(envelope, builder.key());
        SipJson copy(envelope);
        require(json::compactText(copy.root) == json::compactText(envelope.root));
        write(copy, input);
        envelope = copy;
    }
    return 0;
}

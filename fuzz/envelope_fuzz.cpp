// Envelopes of every shape through every reader and writer and the copy. RapidJSON's assertions are on: a
// look-up in a value of the wrong type ends the run, as does what contradicts another reader.
#include <fuzzer/FuzzedDataProvider.h>

#include <cstdlib>
#include <string>
#include <utility>
#include <vector>

#include "frame/json_text.h"
#include "frame/json_tree.h"
#include "frame/sip_json.h"

namespace {

using em::JsonValue;
using em::SipJson;
namespace json = em::json;

constexpr const char* kKeys[] = {"SIP", "V", "CMD", "OC", "OE", "OI", "CA", "ST", "MI", "DA", "RAW", "a"};
constexpr unsigned kDeepest = 300; // beyond the depth at which the copy changes its way

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

class Builder {
public:
    explicit Builder(FuzzedDataProvider& data) : m_data(data) {}

    // Mostly an envelope's shape, since little is read from others.
    void fill(SipJson& envelope) {
        // Rarely far away: each copy of 65,536 commands costs as much as hundreds of others.
        envelope.cursor = m_data.ConsumeIntegralInRange(0, 255) == 0 ? m_data.ConsumeIntegral<int32_t>()
                                                                     : m_data.ConsumeIntegralInRange(-1, 4);
        if (m_data.ConsumeIntegralInRange(0, 7) == 0) {
            envelope.root = value(0);
            return;
        }
        envelope.InitEnvelope();
        for (auto commands = m_data.ConsumeIntegralInRange(0, 3); commands > 0; --commands) {
            JsonValue* const list = json::member(json::member(&envelope.root, "SIP"), "CMD");
            json::append(*list, m_data.ConsumeBool() ? object(0) : value(0));
        }
        if (m_data.ConsumeBool()) {
            json::setMember(*json::member(&envelope.root, "SIP"), key(), value(0));
        }
    }

    std::string key() {
        return m_data.ConsumeIntegralInRange(0, 15) == 0 ? m_data.ConsumeRandomLengthString(20)
                                                         : m_data.PickValueInArray(kKeys);
    }

    JsonValue value(unsigned depth) {
        const auto type = m_data.ConsumeEnum<Kind>();
        if (m_data.remaining_bytes() == 0 || depth == kDeepest) {
            return {};
        }
        switch (type) {
        case Kind::Bool:
            return JsonValue(m_data.ConsumeBool());
        case Kind::Object:
            return object(depth);
        case Kind::Array:
            return array(depth);
        case Kind::Text:
            return json::ownedText(m_data.ConsumeRandomLengthString(40));
        case Kind::DigitText:
            return json::ownedText((m_data.ConsumeBool() ? "0x" : "0") +
                                   std::to_string(m_data.ConsumeIntegral<uint64_t>()));
        case Kind::Word:
            return json::number(m_data.ConsumeIntegral<uint32_t>());
        case Kind::Unsigned:
            return JsonValue(m_data.ConsumeIntegral<uint64_t>());
        case Kind::Signed:
            return JsonValue(m_data.ConsumeIntegral<int64_t>());
        case Kind::Real:
            return JsonValue(m_data.ConsumeFloatingPoint<double>());
        case Kind::kMaxValue:
            break;
        }
        return JsonValue(m_data.PickValueInArray({rapidjson::kNullType, rapidjson::kNumberType}));
    }

private:
    enum class Kind { Bool, Object, Array, Text, DigitText, Word, Unsigned, Signed, Real, kMaxValue };

    JsonValue object(unsigned depth) {
        JsonValue result = json::newObject(0);
        for (auto left = m_data.ConsumeIntegralInRange(0, 8); left > 0; --left) {
            json::append(result, key(), value(depth + 1));
        }
        return result;
    }

    JsonValue array(unsigned depth) {
        JsonValue result = json::newArray(0);
        for (auto left = m_data.ConsumeIntegralInRange(0, 6); left > 0; --left) {
            json::append(result, value(depth + 1));
        }
        return result;
    }

    FuzzedDataProvider& m_data;
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

void write(SipJson& envelope, FuzzedDataProvider& data) {
    const auto word = data.ConsumeIntegral<uint32_t>();
    bool written = envelope.CommandAt() != nullptr;
    switch (data.ConsumeIntegralInRange(0, 5)) {
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
        const auto bytes = data.ConsumeBytes<uint8_t>(word % 64);
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

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* input, size_t size) {
    FuzzedDataProvider data(input, size);
    Builder builder(data);
    SipJson envelope;
    builder.fill(envelope);
    while (data.remaining_bytes() > 0) {
        read(envelope, builder.key());
        SipJson copy(envelope);
        require(json::compactText(copy.root) == json::compactText(envelope.root));
        write(copy, data);
        envelope = copy;
    }
    return 0;
}

// The data of a command: as bytes, number and text.
#include <algorithm>
#include <limits>

#include "base/ascii.h"
#include "frame/envelope/sip_json.h"
#include "frame/json/json_number.h"
#include "frame/json/json_tree.h"

namespace em {

namespace {

// The smallest of 1, 2, 4 and 8 bytes that holds the number.
size_t widthOf(uint64_t number) {
    if (number > std::numeric_limits<uint32_t>::max()) {
        return 8;
    }
    if (number > std::numeric_limits<uint16_t>::max()) {
        return 4;
    }
    return number > std::numeric_limits<uint8_t>::max() ? 2 : 1;
}

size_t widthOfElement(const JsonValue& element) {
    if (!json::isNumber(&element)) {
        return 0;
    }
    const auto natural = json::unsignedNumber(element);
    return natural ? widthOf(*natural) : sizeof(uint64_t);
}

size_t lengthOfList(std::span<const JsonValue> list) {
    if (list.empty()) {
        return 0;
    }
    size_t length = 0;
    if (json::text(list.front())) {
        for (const JsonValue& element : list) {
            const auto characters = json::text(element);
            length += characters ? characters->size() + 1 : 0;
        }
        return length + 1; // one more NUL ends the list
    }
    if (json::isNumber(&list.front())) {
        for (const JsonValue& element : list) {
            length += widthOfElement(element);
        }
    }
    return length;
}

// Takers of bytes: one collects, one only counts.
// What an earlier call left in the list goes first.
class Collector {
public:
    explicit Collector(std::vector<uint8_t>& bytes) : m_bytes(bytes) { bytes.clear(); }
    void text(std::string_view characters) {
        m_bytes.insert(m_bytes.end(), characters.begin(), characters.end());
    }
    void byte(uint64_t value) { m_bytes.push_back(static_cast<uint8_t>(value)); }

private:
    std::vector<uint8_t>& m_bytes;
};

class Counter {
public:
    void text(std::string_view characters) { m_count += characters.size(); }
    void byte(uint64_t /*value*/) { ++m_count; }
    [[nodiscard]] size_t count() const { return m_count; }

private:
    size_t m_count = 0;
};

template <class Taker>
void giveBlock(const JsonValue& block, Taker& taker) {
    const auto raw = json::elements(json::member(&block, key::Raw));
    if (raw.empty() || !json::unsignedNumber(raw.front())) {
        return;
    }
    for (const JsonValue& element : raw) {
        taker.byte(json::wordOfNumber(element));
    }
}

template <class Taker>
void giveTexts(std::span<const JsonValue> list, Taker& taker) {
    if (list.empty() || !json::text(list.front())) {
        return;
    }
    for (const JsonValue& element : list) {
        if (const auto characters = json::text(element)) {
            taker.text(*characters);
            taker.byte(0);
        }
    }
    taker.byte(0);
}

template <class Taker>
bool giveNumber(const JsonValue& number, Taker& taker) {
    const auto natural = json::unsignedNumber(number);
    if (!natural) {
        return false;
    }
    const size_t width = widthOf(*natural);
    for (size_t index = 0; index < width; ++index) {
        taker.byte(*natural >> (8 * index));
    }
    return true;
}

template <class Taker>
bool giveBytes(const JsonValue* data, Taker&& taker) {
    if (data == nullptr) {
        return false;
    }
    switch (json::typeOf(*data)) {
    case JsonType::Null:
        return false;
    case JsonType::False:
    case JsonType::True:
        taker.byte(*json::boolean(*data) ? 1 : 0);
        return true;
    case JsonType::Object:
        giveBlock(*data, taker);
        return true;
    case JsonType::Array:
        giveTexts(json::elements(data), taker);
        return true;
    case JsonType::String:
        taker.text(*json::text(*data));
        taker.byte(0);
        return true;
    case JsonType::Number:
        return giveNumber(*data, taker);
    }
    return false;
}

// Little-endian; three are read like four, with nothing in the fourth.
bool wordOfBlock(std::span<const JsonValue> raw, uint32_t& value) {
    if (raw.empty()) {
        return false;
    }
    value = 0;
    for (size_t index = 0; index < raw.size() && index < sizeof(uint32_t); ++index) {
        value += json::wordOfNumber(raw[index]) << (8 * index);
    }
    return true;
}

} // namespace

// Not what GetDataBytes gives: a length of a list of numbers is told, its bytes are not, and a number takes
// eight.
size_t SipJson::GetDataLength() const {
    const JsonValue* const data = FindData();
    if (data == nullptr) {
        return 0;
    }
    switch (json::typeOf(*data)) {
    case JsonType::Null:
        return 0;
    case JsonType::False:
    case JsonType::True:
        return 1;
    case JsonType::Object:
        return json::elements(json::member(data, key::Raw)).size();
    case JsonType::Array:
        return lengthOfList(json::elements(data));
    case JsonType::String:
        return json::text(*data)->size() + 1;
    case JsonType::Number:
        return json::isInteger(*data) ? sizeof(uint64_t) : 0;
    }
    return 0;
}

bool SipJson::GetDataBytes(std::vector<uint8_t>& bytes) const {
    return giveBytes(FindData(), Collector(bytes));
}

size_t SipJson::GetDataByteCount() const {
    Counter counter;
    static_cast<void>(giveBytes(FindData(), counter)); // nothing found counts nothing
    return counter.count();
}

bool SipJson::GetDataUint(uint32_t& value) const {
    const JsonValue* const data = FindData();
    if (data == nullptr) {
        return false;
    }
    if (json::isObject(data)) {
        return wordOfBlock(json::elements(json::member(data, key::Raw)), value);
    }
    if (const auto truth = json::boolean(*data)) {
        value = *truth ? 1 : 0;
        return true;
    }
    if (json::fitsWord(*data)) {
        value = json::wordOfNumber(*data);
        return true;
    }
    return false;
}

// A text replaces what the string holds, a block is appended to it: odd, and kept.
bool SipJson::GetDataString(std::string& value) const {
    const JsonValue* const data = FindData();
    if (data == nullptr) {
        return false;
    }
    if (const auto characters = json::text(*data)) {
        value = *characters;
        return true;
    }
    const JsonValue* const raw = json::member(data, key::Raw);
    if (!json::isArray(raw)) {
        return false;
    }
    for (const JsonValue& element : json::elements(raw)) {
        value += static_cast<char>(json::wordOfNumber(element));
    }
    return true;
}

void SipJson::GetDataObject(JsonValue& value) const {
    const JsonValue* const data = FindData();
    json::replace(value, json::isObject(data) ? json::deepCopy(*data) : JsonValue());
}

bool SipJson::GetAnswerUint(uint32_t& value) const {
    if (GetDataUint(value)) {
        return true;
    }
    const JsonValue* const data = FindData();
    const auto characters = data != nullptr ? json::text(*data) : std::nullopt;
    if (!characters || characters->empty() || !isAsciiDigit(characters->front())) {
        return false;
    }
    value = json::wordOfText(*characters);
    return true;
}

bool SipJson::GetAnswerText(std::string& value) const {
    value.clear();
    if (!GetDataString(value)) {
        return false;
    }
    value.resize(std::min(value.size(), value.find('\0')));
    return true;
}

} // namespace em

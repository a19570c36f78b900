#include "frame/json/json_text.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <vector>

namespace em::json {

namespace {

// Walks the tree with a stack of its own: RapidJSON's Accept() goes one call deeper with each level.
class TextWriter {
public:
    std::string write(const JsonValue& value) {
        m_open.reserve(kUsualDepth);
        for (const JsonValue* next = &value; next != nullptr; next = nextChild()) {
            begin(*next);
        }
        return {m_buffer.GetString(), m_buffer.GetSize()};
    }

private:
    static constexpr size_t kUsualDepth = 8; // of an envelope, its data included

    // An object or array whose first children are written. Of the two lists one is empty.
    struct Open {
        explicit Open(const JsonValue& value)
            : isObject(json::isObject(&value)),
              members(json::members(&value)),
              elements(json::elements(&value)) {}

        bool isObject;
        std::span<const JsonMember> members;
        std::span<const JsonValue> elements;
    };

    // The innermost open one's, its name written; null when all are closed. Which list is not empty tells
    // what is open.
    const JsonValue* nextChild() {
        for (; !m_open.empty(); m_open.pop_back()) {
            Open& innermost = m_open.back();
            if (!innermost.members.empty()) {
                const JsonMember& next = innermost.members.front();
                innermost.members = innermost.members.subspan(1);
                const std::string_view name = text(next.name).value_or("");
                m_writer.Key(name.data(), lengthOf(name));
                return &next.value;
            }
            if (!innermost.elements.empty()) {
                const JsonValue& next = innermost.elements.front();
                innermost.elements = innermost.elements.subspan(1);
                return &next;
            }
            innermost.isObject ? m_writer.EndObject() : m_writer.EndArray();
        }
        return nullptr;
    }

    void begin(const JsonValue& value) {
        switch (typeOf(value)) {
        case JsonType::Null:
            m_writer.Null();
            break;
        case JsonType::False:
        case JsonType::True:
            m_writer.Bool(*boolean(value));
            break;
        case JsonType::Object:
            m_writer.StartObject();
            m_open.emplace_back(value);
            break;
        case JsonType::Array:
            m_writer.StartArray();
            m_open.emplace_back(value);
            break;
        case JsonType::String:
            m_writer.String(text(value)->data(), lengthOf(*text(value)));
            break;
        case JsonType::Number:
            writeNumber(value);
            break;
        }
    }

    void writeNumber(const JsonValue& value) {
        if (const auto natural = unsignedNumber(value)) {
            m_writer.Uint64(*natural);
        } else if (const auto integer = signedNumber(value)) {
            m_writer.Int64(*integer);
        } else if (const auto real = realNumber(value)) {
            writeReal(*real);
        }
    }

    // As "%g" does; the writer's own form differs and stops in the middle of the text at what is not finite.
    void writeReal(double value) {
        constexpr int kSignificantDigits = 6;
        std::array<char, 32> digits;
        const auto end = std::to_chars(digits.begin(), digits.end(), value, std::chars_format::general,
                                       kSignificantDigits);
        m_writer.RawValue(digits.data(), static_cast<size_t>(end.ptr - digits.data()),
                          rapidjson::kNumberType);
    }

    // The writer reserves six bytes for each one and counts them in 32 bits; what is longer is cut.
    static rapidjson::SizeType lengthOf(std::string_view value) {
        constexpr size_t kLongest = 0x20000000;
        return static_cast<rapidjson::SizeType>(std::min(value.size(), kLongest));
    }

    rapidjson::StringBuffer m_buffer{&allocator};
    rapidjson::Writer<rapidjson::StringBuffer> m_writer{m_buffer, &allocator};
    std::vector<Open> m_open;
};

} // namespace

std::string compactText(const JsonValue& value) {
    return TextWriter().write(value);
}

} // namespace em::json

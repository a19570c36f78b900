// Envelopes of every shape out of a fuzzer's bytes.
#pragma once

#include <cstdint>
#include <iterator>
#include <string>

#include "frame/envelope/sip_json.h"
#include "frame/json/json_tree.h"
#include "input.h"

namespace fuzz {

class EnvelopeBuilder {
public:
    explicit EnvelopeBuilder(Input& input) : m_input(input) {}

    // Mostly an envelope's shape, since little is read from others.
    void fill(em::SipJson& envelope) {
        envelope.cursor =
            m_input.below(256) == 0 ? m_input.number<int32_t>() : static_cast<int>(m_input.below(6)) - 1;
        if (m_input.below(8) == 0) {
            envelope.root = value(0);
            return;
        }
        envelope.InitEnvelope();
        for (unsigned commands = m_input.below(4); commands > 0; --commands) {
            em::JsonValue* const list = em::json::member(em::json::member(&envelope.root, "SIP"), "CMD");
            em::json::append(*list, m_input.flag() ? object(0) : value(0));
        }
        if (m_input.flag()) {
            const std::string name = key();
            em::json::setMember(*em::json::member(&envelope.root, "SIP"), name, value(0));
        }
    }

    std::string key() {
        return m_input.below(16) == 0 ? m_input.text(21) : kKeys[m_input.below(std::size(kKeys))];
    }

    em::JsonValue value(unsigned depth) {
        const auto type = static_cast<Kind>(m_input.below(kKinds));
        if (m_input.empty() || depth == kDeepest) {
            return {};
        }
        switch (type) {
        case Kind::Bool:
            return em::JsonValue(m_input.flag());
        case Kind::Object:
            return object(depth);
        case Kind::Array:
            return array(depth);
        case Kind::Text:
            return em::json::ownedText(m_input.text(41));
        case Kind::DigitText:
            return em::json::ownedText((m_input.flag() ? "0x" : "0") +
                                       std::to_string(m_input.number<uint64_t>()));
        case Kind::Word:
            return em::json::number(m_input.number<uint32_t>());
        case Kind::Unsigned:
            return em::JsonValue(m_input.number<uint64_t>());
        case Kind::Signed:
            return em::JsonValue(m_input.number<int64_t>());
        case Kind::Real:
            return em::JsonValue(m_input.number<double>());
        case Kind::Plain:
            break;
        }
        return em::JsonValue(m_input.flag() ? rapidjson::kNumberType : rapidjson::kNullType);
    }

private:
    static constexpr const char* kKeys[] = {"SIP", "V",  "CMD", "OC", "OE",  "OI",
                                            "CA",  "ST", "MI",  "DA", "RAW", "a"};
    static constexpr unsigned kDeepest = 300; // beyond the depth at which the copy changes its way

    enum class Kind { Bool, Object, Array, Text, DigitText, Word, Unsigned, Signed, Real, Plain };
    static constexpr unsigned kKinds = static_cast<unsigned>(Kind::Plain) + 1;

    em::JsonValue object(unsigned depth) {
        em::JsonValue result = em::json::newObject(0);
        for (unsigned left = m_input.below(9); left > 0; --left) {
            const std::string name = key(); // one behind the other: the same bytes, whatever the compiler
            em::json::append(result, name, value(depth + 1));
        }
        return result;
    }

    em::JsonValue array(unsigned depth) {
        em::JsonValue result = em::json::newArray(0);
        for (unsigned left = m_input.below(7); left > 0; --left) {
            em::json::append(result, value(depth + 1));
        }
        return result;
    }

    Input& m_input;
};

} // namespace fuzz

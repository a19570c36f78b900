// The envelope (envelope.h) for who writes a host: made for a request, and read and answered where the module
// asks. The one header here that needs RapidJSON; the module does not use it.
//
// An envelope has no lock: one thread works on it at a time.
#pragma once

#include <rapidjson/document.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <utility>

#include "contract/envelope.h"

namespace em {

struct SipJson; // what slots and host object are handed; its fields are those of HostEnvelope

using EnvelopeMemory = rapidjson::CrtAllocator; // no state: any one is as good as any other
using EnvelopeValue = rapidjson::GenericValue<rapidjson::UTF8<>, EnvelopeMemory>;

// Members of a command. A value that was moved into one is the envelope's.

inline EnvelopeValue textValue(std::string_view text) {
    EnvelopeMemory memory;
    return {text.data(), static_cast<rapidjson::SizeType>(text.size()), memory};
}
// Null when there is none of that name.
inline EnvelopeValue* findMember(EnvelopeValue& command, std::string_view key) {
    auto member = command.MemberBegin(); // counted: to compare iterators is ambiguous in C++20
    for (rapidjson::SizeType left = command.MemberCount(); left != 0; --left, ++member) {
        if (std::string_view(member->name.GetString(), member->name.GetStringLength()) == key) {
            return &member->value;
        }
    }
    return nullptr;
}
// A number of 32 bits; for everything else `otherwise`. The module writes its numbers so; the text forms that
// envelope.h names are for what people write.
inline uint32_t numberOf(EnvelopeValue& command, std::string_view key, uint32_t otherwise = 0) {
    const EnvelopeValue* const value = findMember(command, key);
    return value != nullptr && value->IsUint() ? value->GetUint() : otherwise;
}
inline void setMember(EnvelopeValue& command, std::string_view key, EnvelopeValue value) {
    if (EnvelopeValue* const there = findMember(command, key)) {
        *there = std::move(value);
        return;
    }
    EnvelopeMemory memory;
    command.AddMember(textValue(key), std::move(value), memory);
}

class HostEnvelope {
public:
    // {"SIP":{"V":1,"CMD":[{"OC":operationCode,"CA":cabinet,"ST":0}]}}
    explicit HostEnvelope(uint32_t operationCode, uint32_t cabinet = 0) {
        EnvelopeMemory memory;
        EnvelopeValue command(rapidjson::kObjectType);
        setMember(command, key::OperationCode, EnvelopeValue(operationCode));
        setMember(command, key::Cabinet, EnvelopeValue(cabinet));
        setMember(command, key::Status, EnvelopeValue(status::kAccepted));
        EnvelopeValue commands(rapidjson::kArrayType);
        commands.PushBack(command, memory);
        EnvelopeValue envelope(rapidjson::kObjectType);
        setMember(envelope, key::Version, EnvelopeValue(kEnvelopeVersion));
        setMember(envelope, key::Commands, std::move(commands));
        m_document.SetObject();
        setMember(m_document, key::Envelope, std::move(envelope));
    }
    ~HostEnvelope() { std::free(m_text); }
    HostEnvelope(const HostEnvelope&) = delete;
    HostEnvelope& operator=(const HostEnvelope&) = delete;

    // For slots 7 and 8. The envelope stays this object's.
    SipJson* handle() {
        static_assert(sizeof(HostEnvelope) == kEnvelopeSize &&
                      offsetof(HostEnvelope, m_text) == kEnvelopeTextOffset &&
                      offsetof(HostEnvelope, m_document) == kEnvelopeDocumentOffset &&
                      offsetof(HostEnvelope, m_cursor) == kEnvelopeCursorOffset);
        return reinterpret_cast<SipJson*>(this);
    }

    // The command that the cursor selects: of an envelope made here, or of one that the host object was
    // handed. Null when there is none, and for null.
    static EnvelopeValue* commandOf(SipJson* handle) {
        auto* const envelope = reinterpret_cast<HostEnvelope*>(handle);
        if (envelope == nullptr || !envelope->m_document.IsObject()) {
            return nullptr;
        }
        EnvelopeValue* const body = findMember(envelope->m_document, key::Envelope);
        EnvelopeValue* const commands =
            body != nullptr && body->IsObject() ? findMember(*body, key::Commands) : nullptr;
        const int32_t at = envelope->m_cursor;
        if (commands == nullptr || !commands->IsArray() || at < 0 ||
            static_cast<uint32_t>(at) >= commands->Size()) {
            return nullptr;
        }
        EnvelopeValue& command = (*commands)[static_cast<rapidjson::SizeType>(at)];
        return command.IsObject() ? &command : nullptr;
    }
    EnvelopeValue* command() { return commandOf(handle()); }

private:
    char* m_text = nullptr;
    EnvelopeValue m_document;
    int32_t m_cursor = 0;
};

} // namespace em

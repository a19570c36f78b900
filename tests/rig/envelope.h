// The message envelope as the interface lays it out, written down once more: the product's own headers are
// not asked here.
#pragma once

#include <cstdlib>
#include <stdexcept>
#include <string>

#include <rapidjson/pointer.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace em::test {

using Json = rapidjson::GenericValue<rapidjson::UTF8<>, rapidjson::CrtAllocator>;

inline rapidjson::CrtAllocator jsonMemory;

inline Json parsed(const std::string& json) {
    rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::CrtAllocator> document(&jsonMemory);
    if (document.Parse(json.c_str()).HasParseError()) {
        throw std::invalid_argument("no JSON: " + json);
    }
    return {document, jsonMemory};
}

struct Envelope {
    char* text = nullptr;
    Json root;
    int32_t cursor = 0;

    // From JSON text; an empty text leaves the root null.
    explicit Envelope(const std::string& json, int32_t cursorAt = 0) : cursor(cursorAt) {
        if (!json.empty()) {
            root = parsed(json);
        }
    }
    ~Envelope() { std::free(text); }
    Envelope(const Envelope&) = delete;
    Envelope& operator=(const Envelope&) = delete;
};
static_assert(sizeof(Envelope) == 32);

inline std::string textOf(const Envelope& envelope) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    envelope.root.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}
// The command at the cursor, or null when there is none.
inline Json* commandOf(Envelope& envelope) {
    const rapidjson::GenericPointer<Json> path(("/SIP/CMD/" + std::to_string(envelope.cursor)).c_str());
    Json* const command = path.Get(envelope.root);
    return command != nullptr && command->IsObject() ? command : nullptr;
}
inline uint32_t numberOf(const Json* command, const char* key, uint32_t otherwise) {
    if (command == nullptr || !command->HasMember(key)) {
        return otherwise;
    }
    const Json& value = (*command)[key];
    return value.IsUint() ? value.GetUint() : otherwise;
}
// Sets or appends the member; its value is JSON text.
inline void setMember(Json& command, const char* key, const std::string& json) {
    if (command.HasMember(key)) {
        command[key] = parsed(json);
    } else {
        command.AddMember(Json(key, jsonMemory).Move(), parsed(json).Move(), jsonMemory);
    }
}

// {"SIP":{"V":1,"CMD":[<command>]}}
inline std::string withCommand(const std::string& command) {
    return R"({"SIP":{"V":1,"CMD":[)" + command + "]}}";
}

} // namespace em::test

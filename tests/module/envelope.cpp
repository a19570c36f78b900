#include "module/envelope.h"

#include <cstdlib>
#include <stdexcept>
#include <string_view>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace module_test {
namespace {

rapidjson::CrtAllocator memory;

Json parsed(const std::string& json) {
    rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::CrtAllocator> document(&memory);
    if (document.Parse(json.c_str()).HasParseError()) {
        throw std::invalid_argument("no JSON: " + json);
    }
    Json value;
    value.CopyFrom(document, memory);
    return value;
}

// Null when the value is no object or has no such member.
Json* memberOf(Json* object, std::string_view key) {
    if (object == nullptr || !object->IsObject()) {
        return nullptr;
    }
    for (rapidjson::SizeType i = 0; i < object->MemberCount(); ++i) {
        auto& member = object->MemberBegin()[i];
        if (key == std::string_view(member.name.GetString(), member.name.GetStringLength())) {
            return &member.value;
        }
    }
    return nullptr;
}

} // namespace

Envelope::Envelope(const std::string& json, int32_t cursorAt) : cursor(cursorAt) {
    if (!json.empty()) {
        root = parsed(json);
    }
}

Envelope::~Envelope() {
    std::free(text);
}

std::string textOf(const Envelope& envelope) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    envelope.root.Accept(writer);
    return {buffer.GetString(), buffer.GetSize()};
}

Json* commandOf(Envelope& envelope) {
    Json* const commands = memberOf(memberOf(&envelope.root, "SIP"), "CMD");
    if (commands == nullptr || !commands->IsArray() || envelope.cursor < 0 ||
        static_cast<rapidjson::SizeType>(envelope.cursor) >= commands->Size()) {
        return nullptr;
    }
    Json& command = (*commands)[static_cast<rapidjson::SizeType>(envelope.cursor)];
    return command.IsObject() ? &command : nullptr;
}

uint32_t numberOf(Json* command, const char* key, uint32_t otherwise) {
    const Json* const member = memberOf(command, key);
    return member == nullptr || !member->IsUint() ? otherwise : member->GetUint();
}

void setMember(Json& command, const char* key, const std::string& json) {
    if (Json* const member = memberOf(&command, key)) {
        *member = parsed(json);
        return;
    }
    Json name(key, memory);
    Json value = parsed(json);
    command.AddMember(name, value, memory);
}

std::string withCommand(const std::string& command) {
    return R"({"SIP":{"V":1,"CMD":[)" + command + "]}}";
}

} // namespace module_test

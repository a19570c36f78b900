#include "module/envelope.h"

#include <cstdlib>
#include <stdexcept>

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
    const auto member = [](Json* object, const char* key) -> Json* {
        if (object == nullptr || !object->IsObject()) {
            return nullptr;
        }
        const auto found = object->FindMember(key);
        return found == object->MemberEnd() ? nullptr : &found->value;
    };
    Json* const commands = member(member(&envelope.root, "SIP"), "CMD");
    if (commands == nullptr || !commands->IsArray() || envelope.cursor < 0 ||
        static_cast<rapidjson::SizeType>(envelope.cursor) >= commands->Size()) {
        return nullptr;
    }
    Json& command = (*commands)[static_cast<rapidjson::SizeType>(envelope.cursor)];
    return command.IsObject() ? &command : nullptr;
}

uint32_t numberOf(const Json* command, const char* key, uint32_t otherwise) {
    if (command == nullptr) {
        return otherwise;
    }
    const auto found = command->FindMember(key);
    return found == command->MemberEnd() || !found->value.IsUint() ? otherwise : found->value.GetUint();
}

void setMember(Json& command, const char* key, const std::string& json) {
    const auto found = command.FindMember(key);
    if (found != command.MemberEnd()) {
        found->value = parsed(json);
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

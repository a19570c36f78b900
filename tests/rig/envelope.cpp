#include "rig/envelope.h"

#include <cstdlib>
#include <stdexcept>

#include <rapidjson/pointer.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace em::test {
namespace {

rapidjson::CrtAllocator memory;

Json parsed(const std::string& json) {
    rapidjson::GenericDocument<rapidjson::UTF8<>, rapidjson::CrtAllocator> document(&memory);
    if (document.Parse(json.c_str()).HasParseError()) {
        throw std::invalid_argument("no JSON: " + json);
    }
    return {document, memory};
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
    const rapidjson::GenericPointer<Json> path(("/SIP/CMD/" + std::to_string(envelope.cursor)).c_str());
    Json* const command = path.Get(envelope.root);
    return command != nullptr && command->IsObject() ? command : nullptr;
}

uint32_t numberOf(const Json* command, const char* key, uint32_t otherwise) {
    if (command == nullptr || !command->HasMember(key)) {
        return otherwise;
    }
    const Json& value = (*command)[key];
    return value.IsUint() ? value.GetUint() : otherwise;
}

void setMember(Json& command, const char* key, const std::string& json) {
    if (command.HasMember(key)) {
        command[key] = parsed(json);
    } else {
        command.AddMember(Json(key, memory).Move(), parsed(json).Move(), memory);
    }
}

std::string withCommand(const std::string& command) {
    return R"({"SIP":{"V":1,"CMD":[)" + command + "]}}";
}

} // namespace em::test

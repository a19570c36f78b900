#include "frame/envelope/sip_json.h"
#include "frame/json/json_tree.h"

namespace em {

namespace {

// Room for every key of a command.
constexpr uint32_t kCommandKeys = 7;

void setNumber(JsonValue& command, std::string_view name, uint32_t value) {
    json::setMember(command, name, json::number(value));
}

// A 0 is not written: "absent" is how the other side knows it.
void setOrRemove(JsonValue& command, std::string_view name, uint32_t value) {
    if (value != 0) {
        setNumber(command, name, value);
    } else {
        json::removeMember(command, name);
    }
}

void setOpcode(JsonValue& command, uint32_t operationCode, uint32_t extension, uint32_t objectId) {
    setNumber(command, key::OperationCode, operationCode);
    setOrRemove(command, key::Extension, extension);
    setOrRemove(command, key::ObjectId, objectId);
}

} // namespace

// With room for what a message of this module has: the library's own first step is 16 members.
void SipJson::InitEnvelope() {
    JsonValue envelope = json::newObject(2);
    json::append(envelope, key::Version, json::number(kEnvelopeVersion));
    json::append(envelope, key::Commands, json::newArray(1));
    JsonValue document = json::newObject(1);
    json::append(document, key::Envelope, std::move(envelope));
    json::replace(root, std::move(document));
}

JsonValue* SipJson::CommandAt() {
    JsonValue* const commands = json::member(json::member(&root, key::Envelope), key::Commands);
    if (!json::isArray(commands) || cursor < 0) {
        return nullptr;
    }
    const auto present = static_cast<int64_t>(json::elements(commands).size());
    if (cursor - present >= kMostNewCommands) {
        return nullptr; // a host's wrong cursor must not eat the host's memory
    }
    for (int64_t made = present; made <= cursor; ++made) {
        json::append(*commands, json::newObject(made == cursor ? kCommandKeys : 0));
    }
    JsonValue& command = json::elements(commands)[static_cast<size_t>(cursor)];
    if (!json::isObject(&command)) {
        json::replace(command, json::newObject(kCommandKeys));
    }
    return &command;
}

void SipJson::EmptyCommands() {
    JsonValue* const commands = json::member(json::member(&root, key::Envelope), key::Commands);
    if (json::isArray(commands)) {
        json::replace(*commands, json::newArray(0));
    }
}

void SipJson::SetCommand(uint32_t operationCode, uint32_t extension, uint32_t objectId, uint32_t cabinet,
                         uint32_t newStatus) {
    if (JsonValue* const command = CommandAt()) {
        setOpcode(*command, operationCode, extension, objectId);
        setNumber(*command, key::Cabinet, cabinet);
        if (newStatus != status::kKeep) {
            setNumber(*command, key::Status, newStatus);
        }
    }
}

void SipJson::SetOpcode(uint32_t operationCode, uint32_t extension, uint32_t objectId) {
    if (JsonValue* const command = CommandAt()) {
        setOpcode(*command, operationCode, extension, objectId);
    }
}

void SipJson::SetUintMember(std::string_view name, uint32_t value) {
    if (JsonValue* const command = CommandAt()) {
        setNumber(*command, name, value);
    }
}

void SipJson::SetStatus(uint32_t status) {
    SetUintMember(key::Status, status);
}

void SipJson::SetNumberData(uint8_t value, int32_t status) {
    SetUintMember(key::Data, value);
    SetUintMember(key::Status, static_cast<uint32_t>(status));
}

void SipJson::SetRawData(const uint8_t* bytes, uint32_t length) {
    JsonValue* const command = CommandAt();
    if (command == nullptr) {
        return;
    }
    JsonValue list = json::newArray(length);
    for (uint32_t index = 0; index < length; ++index) {
        json::append(list, json::number(bytes[index]));
    }
    JsonValue block = json::newObject(1);
    json::append(block, key::Raw, std::move(list));
    json::setMember(*command, key::Data, std::move(block));
}

} // namespace em

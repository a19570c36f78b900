#include "host/drive/envelope_form.h"

#include <algorithm>
#include <array>

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "frame/json/json_tree.h"
#include "host/drive/code_names.h"

namespace volad_dev {
namespace {

struct MemberName {
    const char* name;
    std::string_view key;
};

constexpr std::array<MemberName, 8> kMemberNames = {{{"operation", em::key::OperationCode},
                                                     {"data", em::key::Data},
                                                     {"reason", em::key::Data},
                                                     {"extension", em::key::Extension},
                                                     {"object", em::key::ObjectId},
                                                     {"cabinet", em::key::Cabinet},
                                                     {"status", em::key::Status},
                                                     {"id", em::key::MessageId}}};

em::JsonValue parsed(const std::string& json) {
    rapidjson::GenericDocument<rapidjson::UTF8<>, em::JsonAllocator> document(&em::json::allocator);
    document.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
    return em::json::deepCopy(document);
}

} // namespace

std::string_view memberKey(const std::string& name) {
    for (const MemberName& each : kMemberNames) {
        if (name == each.name || name == each.key) {
            return each.key;
        }
    }
    return {};
}

std::string memberNames() {
    std::string names;
    for (const MemberName& each : kMemberNames) {
        names += names.empty() ? each.name : std::string(", ") + each.name;
    }
    return names;
}

std::string memberValue(const std::string& word) {
    const std::optional<uint32_t> number = plainCode(word);
    return number ? std::to_string(*number) : jsonText(word);
}

std::string jsonText(const std::string& text) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer>(buffer).String(text.data(),
                                                              static_cast<rapidjson::SizeType>(text.size()));
    return {buffer.GetString(), buffer.GetSize()};
}

em::SipJson readEnvelope(const std::string& json) {
    em::SipJson envelope;
    envelope.root = parsed(json);
    return envelope;
}

em::SipJson envelopeOf(const EnvelopeForm& form, uint32_t cabinet) {
    if (form.json) {
        return readEnvelope(*form.json);
    }
    em::SipJson envelope;
    envelope.InitEnvelope();
    envelope.SetCommand(form.operationCode, 0, 0, cabinet, em::status::kKeep);
    for (const Member& member : form.members) {
        em::json::setMember(*envelope.CommandAt(), member.key, parsed(member.value));
    }
    return envelope;
}

bool hasMembers(const em::SipJson& envelope, const std::vector<Member>& members) {
    return std::ranges::all_of(members, [&](const Member& member) {
        const em::JsonValue* const there = envelope.FindMember(member.key);
        return there != nullptr && *there == parsed(member.value);
    });
}

bool isSameJson(const em::SipJson& envelope, const std::string& json) {
    return envelope.root == parsed(json);
}

} // namespace volad_dev

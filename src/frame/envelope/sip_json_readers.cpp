#include <algorithm>

#include "frame/envelope/sip_json.h"
#include "frame/json/json_number.h"

namespace em {

uint32_t SipJson::GetUint(std::string_view name, uint32_t fallback) const {
    const JsonValue* const found = FindMember(name);
    if (found == nullptr) {
        return fallback;
    }
    if (json::isNumber(found)) {
        return json::wordOfNumber(*found);
    }
    const auto characters = json::text(*found);
    return characters ? json::wordOfText(*characters) : fallback;
}

bool SipJson::HasMember(std::string_view name) const {
    return FindMember(name) != nullptr;
}

bool SipJson::HasData() const {
    return FindData() != nullptr;
}

JsonType SipJson::GetDataType() const {
    const JsonValue* const data = FindData();
    return data != nullptr ? json::typeOf(*data) : JsonType::Null;
}

// By the first element alone, as the trace needs to know which of its forms to take.
bool SipJson::IsStructuredData() const {
    const JsonValue* const data = FindData();
    if (json::isObject(data)) {
        return json::member(data, key::Raw) == nullptr;
    }
    const auto list = json::elements(data);
    return !list.empty() && json::isObject(&list.front());
}

bool SipJson::IsSuccess() const {
    const uint32_t present = GetUint(key::Status, status::kMissing);
    return std::ranges::find(kStatusesOfSuccess, present) != kStatusesOfSuccess.end();
}

bool SipJson::HasValidData() const {
    return IsSuccess() && (json::isNumber(FindData()) || GetDataLength() != 0);
}

// Of the right type first: GetUint would give the default for a list, which is a code as well.
bool SipJson::GetOpcode(uint32_t& operationCode) const {
    const JsonValue* const code = FindMember(key::OperationCode);
    if (code == nullptr || (!json::isNumber(code) && !json::text(*code))) {
        return false;
    }
    operationCode = GetUint(key::OperationCode, 0);
    return true;
}

size_t SipJson::CommandCount() const {
    return json::elements(json::member(json::member(&root, key::Envelope), key::Commands)).size();
}

bool SipJson::CheckEnvelope() const {
    const JsonValue* const version = json::member(json::member(&root, key::Envelope), key::Version);
    return json::isObject(&root) &&
           (version == nullptr || json::unsignedNumber(*version) == kEnvelopeVersion);
}

} // namespace em

#include "host/files/registry_text.h"

#include <charconv>
#include <cstring>

#include <fmt/format.h>

#include "host/common/failure.h"
#include "platform/registry/registry_names.h"
#include "platform/registry/registry_value_text.h"

namespace volad_dev {
namespace {

std::string hex(std::string_view bytes) {
    std::string text;
    em::appendHex(text, bytes);
    if (!text.empty()) {
        text.pop_back();
    }
    return text;
}

int32_t numberOf(const std::string& data) {
    int32_t number = 0;
    std::memcpy(&number, data.data(), sizeof number);
    return number;
}

std::string numberData(const std::string& text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char* const from = text.data() + (hexadecimal ? 2 : 0);
    const char* const end = text.data() + text.size();
    int64_t number = 0;
    const auto parsed = std::from_chars(from, end, number, hexadecimal ? 16 : 10);
    if (parsed.ec != std::errc() || parsed.ptr != end || number < INT32_MIN || number > UINT32_MAX) {
        throw Failure(fmt::format("VALUE must be a whole number of 32 bits, not \"{}\"", text), kExitUsage);
    }
    // Signed and unsigned alike: the store keeps 32 bits, and shows them signed.
    const auto low = static_cast<uint32_t>(number);
    return {reinterpret_cast<const char*>(&low), sizeof low};
}

std::string blockData(const std::string& text) {
    // Once for the length, which is what shows a row that the store would cut, then for the bytes.
    const em::ParsedBlock counted = em::parseHex(text, nullptr);
    if (counted.endsEarly || counted.longNumber) {
        throw Failure(fmt::format("VALUE must be a row of hexadecimal bytes, not \"{}\"", text), kExitUsage);
    }
    std::string data(counted.length, '\0');
    static_cast<void>(em::parseHex(text, reinterpret_cast<unsigned char*>(data.data())));
    return data;
}

} // namespace

std::string typeName(int32_t type) {
    const em::RegistryValueType* const known = em::valueTypeOf(type);
    return std::string(known != nullptr ? known->name : "key");
}

std::string shownValue(int32_t type, const std::string& data) {
    if (type == em::REG_TYPE_BINARY) {
        return hex(data);
    }
    if (type != em::REG_TYPE_DWORD) {
        return data;
    }
    return std::to_string(numberOf(data));
}

std::string valueData(int32_t type, const std::string& text) {
    if (type == em::REG_TYPE_BINARY) {
        return blockData(text);
    }
    return type == em::REG_TYPE_DWORD ? numberData(text) : text;
}

void writeJsonValue(JsonWriter& json, int32_t type, const std::string& data) {
    json.member("type", typeName(type));
    if (type == em::REG_TYPE_KEY) {
        json.member("value", nullptr);
    } else if (type == em::REG_TYPE_DWORD) {
        json.member("value", numberOf(data));
    } else {
        json.member("value", shownValue(type, data));
    }
}

} // namespace volad_dev

#include "host/files/registry_text.h"

#include <charconv>
#include <cstring>
#include <stdexcept>

#include <fmt/format.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

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

std::string numberData(const std::string& text) {
    const bool hexadecimal = text.starts_with("0x") || text.starts_with("0X");
    const char* const from = text.data() + (hexadecimal ? 2 : 0);
    const char* const end = text.data() + text.size();
    int64_t number = 0;
    const auto parsed = std::from_chars(from, end, number, hexadecimal ? 16 : 10);
    if (parsed.ec != std::errc() || parsed.ptr != end || number < INT32_MIN || number > UINT32_MAX) {
        throw std::runtime_error(fmt::format("\"{}\" is no number of 32 bits", text));
    }
    // Signed and unsigned alike: the store keeps 32 bits, and shows them signed.
    const auto low = static_cast<uint32_t>(number);
    return {reinterpret_cast<const char*>(&low), sizeof low};
}

std::string blockData(const std::string& text) {
    // Once for the length, which is what shows a row that the store would cut, then for the bytes.
    const em::ParsedBlock counted = em::parseHex(text, nullptr);
    if (counted.endsEarly || counted.longNumber) {
        throw std::runtime_error(fmt::format("\"{}\" is no row of hexadecimal bytes", text));
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
    int32_t number = 0;
    std::memcpy(&number, data.data(), sizeof number);
    return std::to_string(number);
}

std::string valueData(int32_t type, const std::string& text) {
    if (type == em::REG_TYPE_BINARY) {
        return blockData(text);
    }
    return type == em::REG_TYPE_DWORD ? numberData(text) : text;
}

std::string jsonText(const std::string& text) {
    rapidjson::StringBuffer buffer;
    rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
    writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    return buffer.GetString();
}

std::string jsonItem(const em::RegistryItem& item) {
    if (item.type == em::REG_TYPE_KEY) {
        return fmt::format(R"({{"name":{},"type":"key"}})", jsonText(item.name));
    }
    const std::string value = shownValue(item.type, item.data);
    return fmt::format(R"({{"name":{},"type":"{}","value":{}}})", jsonText(item.name), typeName(item.type),
                       item.type == em::REG_TYPE_DWORD ? value : jsonText(value));
}

void printJsonArray(const std::vector<std::string>& values) {
    fmt::print("[{}]\n", fmt::join(values, ","));
}

} // namespace volad_dev

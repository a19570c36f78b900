#include "platform/registry/registry_rules.h"

#include "platform/registry/registry_value_text.h"

namespace em {
namespace {

constexpr const char* kTooLong = "its line in the file would be too long";

const char* refusalOfName(std::string_view name) {
    if (name.empty()) {
        return "the name is empty";
    }
    if (name.front() == '[') {
        return "the name begins with \"[\"";
    }
    if (name.find_first_of(std::string_view("=\n\0", 3)) != std::string_view::npos) {
        return "the name holds \"=\", a line end or a NUL";
    }
    return nullptr;
}

// As the writer writes it, so that what is accepted can be read again.
size_t writtenSize(int32_t type, std::string_view data) {
    std::string number;
    switch (type) {
    case REG_TYPE_BINARY:
        return data.size() * 3;
    case REG_TYPE_DWORD: {
        int32_t value = 0;
        data.copy(reinterpret_cast<char*>(&value), sizeof value);
        appendDecimal(number, value);
        return number.size();
    }
    default:
        return data.size();
    }
}

} // namespace

const char* refusalOfKeyName(std::string_view name) {
    if (const char* const reason = refusalOfName(name)) {
        return reason;
    }
    if (name.find(']') != std::string_view::npos) {
        return "a key's name holds \"]\"";
    }
    return name.size() + 2 > kRegistryLongestLine ? kTooLong : nullptr;
}

const char* refusalOfValue(std::string_view name, int32_t type, std::string_view data) {
    if (const char* const reason = refusalOfName(name)) {
        return reason;
    }
    const RegistryValueType* const known = valueTypeOf(type);
    if (known == nullptr) {
        return "the type is unknown";
    }
    if (type == REG_TYPE_DWORD && data.size() != sizeof(int32_t)) {
        return "a DWORD is not of four bytes";
    }
    if (isText(type) && data.find_first_of(std::string_view("\n\0", 2)) != std::string_view::npos) {
        return "the text holds a line end or a NUL";
    }
    const size_t line = name.size() + known->marker.size() + writtenSize(type, data);
    return line > kRegistryLongestLine ? kTooLong : nullptr;
}

} // namespace em

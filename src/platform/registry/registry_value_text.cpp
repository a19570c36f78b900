#include "platform/registry/registry_value_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <limits>

#include "base/ascii.h"

namespace em {
namespace {

constexpr std::string_view kHexDigits = "0123456789abcdef";

// value * 10 + digit, held at the largest magnitude that the sign allows.
// Saturates as the C library's strtol, whose low 32 bits then count.
uint64_t accumulate(uint64_t value, unsigned digit, uint64_t largest) {
    return value > (largest - digit) / 10 ? largest : value * 10 + digit;
}

} // namespace

const RegistryValueType* valueTypeAt(std::string_view text) {
    const auto* const found = std::find_if(kRegistryValueTypes.begin(), kRegistryValueTypes.end(),
                                           [&](const auto& type) { return text.starts_with(type.marker); });
    return found == kRegistryValueTypes.end() ? nullptr : found;
}

const RegistryValueType* valueTypeOf(int32_t wanted) {
    const auto* const found = std::find_if(kRegistryValueTypes.begin(), kRegistryValueTypes.end(),
                                           [&](const auto& type) { return type.type == wanted; });
    return found == kRegistryValueTypes.end() ? nullptr : found;
}

ParsedNumber parseDecimal(std::string_view text) {
    size_t at = 0;
    while (at < text.size() && isAsciiBlank(text[at])) {
        ++at;
    }
    const bool negative = at < text.size() && text[at] == '-';
    if (at < text.size() && (text[at] == '-' || text[at] == '+')) {
        ++at;
    }
    const uint64_t largest = uint64_t{std::numeric_limits<int64_t>::max()} + (negative ? 1 : 0);
    uint64_t magnitude = 0;
    ParsedNumber result;
    for (; at < text.size() && isAsciiDigit(text[at]); ++at) {
        result.digits = true;
        magnitude = accumulate(magnitude, static_cast<unsigned>(text[at] - '0'), largest);
    }
    const uint64_t fits = negative ? uint64_t{1} << 31 : std::numeric_limits<uint32_t>::max();
    result.whole = at == text.size() && magnitude <= fits;
    result.value = static_cast<int32_t>(static_cast<uint32_t>(negative ? 0 - magnitude : magnitude));
    return result;
}

ParsedBlock parseHex(std::string_view text, unsigned char* bytes) {
    ParsedBlock result;
    size_t at = 0;
    for (;;) {
        while (at < text.size() && isAsciiBlank(text[at])) {
            ++at;
        }
        unsigned number = 0;
        const size_t start = at;
        for (int digit = 0; at < text.size() && (digit = hexDigit(text[at])) >= 0; ++at) {
            // What was pushed out of a byte once stays visible above it.
            number = (number & 0xFF) * 16 + static_cast<unsigned>(digit) + (number > 0xFF ? 0x1000U : 0U);
        }
        if (at == start) {
            break;
        }
        result.longNumber |= number > 0xFF;
        if (bytes != nullptr) {
            bytes[result.length] = static_cast<unsigned char>(number);
        }
        ++result.length;
    }
    result.endsEarly = at != text.size();
    return result;
}

void appendHex(std::string& out, std::string_view bytes) {
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        const std::array<char, 3> text{kHexDigits[byte >> 4], kHexDigits[byte & 0xF], ' '};
        out.append(text.data(), text.size());
    }
}

void appendDecimal(std::string& out, int32_t value) {
    std::array<char, 12> text;
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value);
    out.append(text.data(), end.ptr);
}

} // namespace em

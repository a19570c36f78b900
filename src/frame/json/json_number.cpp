#include "frame/json/json_number.h"

#include <cmath>
#include <limits>

#include "base/ascii.h"

namespace em::json {

namespace {

uint64_t accumulate(std::string_view digits, unsigned base) {
    constexpr uint64_t kMost = std::numeric_limits<uint64_t>::max();
    uint64_t value = 0;
    for (const char character : digits) {
        const auto digit = static_cast<unsigned>(hexDigit(character));
        if (digit >= base) { // no digit at all, too
            break;
        }
        if (value > (kMost - digit) / base) {
            return kMost;
        }
        value = value * base + digit;
    }
    return value;
}

uint64_t wideWordOfReal(double value) {
    constexpr double kTwoTo63 = 0x1p63;
    constexpr double kTwoTo64 = 0x1p64;
    const double whole = std::trunc(value);
    if (whole >= 0 && whole < kTwoTo64) {
        return static_cast<uint64_t>(whole);
    }
    if (whole < 0 && whole >= -kTwoTo63) {
        return static_cast<uint64_t>(static_cast<int64_t>(whole));
    }
    return 0;
}

} // namespace

// By type first, value second: a large natural must not go through a double, which would round it.
uint32_t wordOfNumber(const JsonValue& value) {
    if (const auto natural = unsignedNumber(value)) {
        return static_cast<uint32_t>(*natural);
    }
    if (const auto integer = signedNumber(value)) {
        return static_cast<uint32_t>(*integer);
    }
    if (const auto real = realNumber(value)) {
        return static_cast<uint32_t>(wideWordOfReal(*real));
    }
    return 0;
}

uint32_t wordOfText(std::string_view text) {
    if (text.size() < 2 || text[0] != '0') {
        return static_cast<uint32_t>(accumulate(text, 10));
    }
    if (text.size() > 2 && (text[1] == 'x' || text[1] == 'X')) {
        return static_cast<uint32_t>(accumulate(text.substr(2), 16));
    }
    return static_cast<uint32_t>(accumulate(text.substr(1), 8));
}

} // namespace em::json

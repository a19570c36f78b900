// Tests of characters by ASCII alone: the functions of <cctype> depend on the host's locale and are undefined
// for negative values.
#pragma once

#include <algorithm>
#include <string_view>

namespace em {

constexpr bool isAsciiBlank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

constexpr bool isAsciiDigit(char c) {
    return c >= '0' && c <= '9';
}

constexpr bool isAsciiLetter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

constexpr char asciiLower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

constexpr char asciiUpper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

// The value of a hexadecimal digit of either case; -1 for another character.
constexpr int hexDigit(char c) {
    const char lower = asciiLower(c);
    return isAsciiDigit(c) ? c - '0' : lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

constexpr bool equalsIgnoringAsciiCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char l, char r) { return asciiLower(l) == asciiLower(r); });
}

} // namespace em

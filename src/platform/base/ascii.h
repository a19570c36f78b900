// Tests of characters by ASCII alone: the functions of <cctype> depend on the host's locale and are undefined
// for negative values.
#pragma once

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

constexpr bool equalsIgnoringAsciiCase(const char* left, const char* right) {
    for (; *left != '\0' && asciiLower(*left) == asciiLower(*right); ++left, ++right) {
    }
    return asciiLower(*left) == asciiLower(*right);
}

} // namespace em

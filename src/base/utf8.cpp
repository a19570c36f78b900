#include "base/utf8.h"

#include <array>

namespace em {
namespace {

// A lead byte's range, the bytes that follow it and the range of the first of them.
struct Sequence {
    unsigned char leadFrom, leadTo;
    size_t following;
    unsigned char secondFrom, secondTo;
};

constexpr std::array<Sequence, 9> kSequences{{
    {0x00, 0x7F, 0, 0, 0},
    {0xC2, 0xDF, 1, 0x80, 0xBF},
    {0xE0, 0xE0, 2, 0xA0, 0xBF},
    {0xE1, 0xEC, 2, 0x80, 0xBF},
    {0xED, 0xED, 2, 0x80, 0x9F}, // no surrogates
    {0xEE, 0xEF, 2, 0x80, 0xBF},
    {0xF0, 0xF0, 3, 0x90, 0xBF},
    {0xF1, 0xF3, 3, 0x80, 0xBF},
    {0xF4, 0xF4, 3, 0x80, 0x8F}, // up to U+10FFFF
}};

bool lies(char c, unsigned char from, unsigned char to) {
    const auto byte = static_cast<unsigned char>(c);
    return byte >= from && byte <= to;
}

// Bytes of the character at the text's start, 0 when it is none.
// The ranges of the second byte are what refuses overlong forms, surrogates and what lies behind Unicode.
size_t characterLength(std::string_view text) {
    for (const Sequence& sequence : kSequences) {
        if (!lies(text[0], sequence.leadFrom, sequence.leadTo)) {
            continue;
        }
        if (text.size() <= sequence.following ||
            (sequence.following > 0 && !lies(text[1], sequence.secondFrom, sequence.secondTo))) {
            return 0;
        }
        for (size_t i = 2; i <= sequence.following; ++i) {
            if (!lies(text[i], 0x80, 0xBF)) {
                return 0;
            }
        }
        return sequence.following + 1;
    }
    return 0;
}

} // namespace

size_t validUtf8Length(std::string_view text) {
    size_t valid = 0;
    while (valid < text.size()) {
        const size_t length = characterLength(text.substr(valid));
        if (length == 0) {
            break;
        }
        valid += length;
    }
    return valid;
}

} // namespace em

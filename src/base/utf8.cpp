#include "base/utf8.h"

#include <array>
#include <cstdint>
#include <cstring>

namespace em {
namespace {

// A lead byte's range, the bytes that follow it and the range of the first of them.
struct Sequence {
    unsigned char leadFrom, leadTo;
    size_t following; // at least one
    unsigned char secondFrom, secondTo;
};

constexpr std::array<Sequence, 8> kSequences{{
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

const Sequence* sequenceOf(char lead) {
    for (const Sequence& sequence : kSequences) {
        if (lies(lead, sequence.leadFrom, sequence.leadTo)) {
            return &sequence;
        }
    }
    return nullptr;
}

// How many of the bytes behind the lead byte are such as the sequence asks for.
// The ranges of the second byte are what refuses overlong forms, surrogates and what lies behind Unicode.
size_t fittingBytes(std::string_view text, const Sequence& sequence) {
    if (text.size() < 2 || !lies(text[1], sequence.secondFrom, sequence.secondTo)) {
        return 0;
    }
    size_t fitting = 1;
    while (fitting < sequence.following && fitting + 1 < text.size() && lies(text[fitting + 1], 0x80, 0xBF)) {
        ++fitting;
    }
    return fitting;
}

// Bytes of the character at the text's start, 0 when it is none.
size_t characterLength(std::string_view text) {
    if (lies(text[0], 0x00, 0x7F)) {
        return 1;
    }
    const Sequence* const sequence = sequenceOf(text[0]);
    return sequence != nullptr && fittingBytes(text, *sequence) == sequence->following
               ? sequence->following + 1
               : 0;
}

// Most text is ASCII: eight characters at a time.
size_t asciiLength(std::string_view text) {
    size_t length = 0;
    for (uint64_t word = 0; length + sizeof word <= text.size(); length += sizeof word) {
        std::memcpy(&word, text.data() + length, sizeof word);
        if ((word & 0x8080'8080'8080'8080) != 0) {
            break;
        }
    }
    return length;
}

} // namespace

size_t validUtf8Length(std::string_view text) {
    size_t valid = 0;
    while (valid += asciiLength(text.substr(valid)), valid < text.size()) {
        const size_t length = characterLength(text.substr(valid));
        if (length == 0) {
            break;
        }
        valid += length;
    }
    return valid;
}

bool beginsUtf8Character(std::string_view bytes) {
    const Sequence* const sequence = sequenceOf(bytes[0]);
    return sequence != nullptr && bytes.size() <= sequence->following &&
           fittingBytes(bytes, *sequence) == bytes.size() - 1;
}

} // namespace em

#include "host/picture/columns.h"

namespace volad_dev {
namespace {

constexpr std::string_view kCut = "...";

size_t columnsOfByte(char byte) {
    const auto value = static_cast<unsigned char>(byte);
    if ((value & 0xC0) == 0x80) {
        return 0; // goes on with a character
    }
    return value >= 0xE1 ? 2 : 1;
}

// Bytes of so many columns at most.
size_t lengthOf(std::string_view text, size_t most) {
    size_t columns = 0;
    size_t length = 0;
    for (; length < text.size(); ++length) {
        columns += columnsOfByte(text[length]);
        if (columns > most) {
            break;
        }
    }
    return length;
}

} // namespace

size_t columnsOf(std::string_view text) {
    size_t columns = 0;
    for (const char byte : text) {
        columns += columnsOfByte(byte);
    }
    return columns;
}

std::string cutTo(std::string_view text, size_t most) {
    if (lengthOf(text, most) == text.size()) {
        return std::string(text);
    }
    const size_t cut = most < kCut.size() ? most : kCut.size();
    return std::string(text.substr(0, lengthOf(text, most - cut))).append(kCut.substr(0, cut));
}

} // namespace volad_dev

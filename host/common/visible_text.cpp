#include "host/common/visible_text.h"

#include <fmt/format.h>

#include "base/utf8.h"

namespace volad_dev {
namespace {

std::string escaped(std::string_view bytes) {
    std::string text;
    for (const char byte : bytes) {
        switch (byte) {
        case '\n':
            text += "\\n";
            break;
        case '\r':
            text += "\\r";
            break;
        case '\t':
            text += "\\t";
            break;
        default:
            text += fmt::format("\\x{:02X}", static_cast<unsigned char>(byte));
        }
    }
    return text;
}

// Bytes of the control character or separator at the start of valid UTF-8; 0 when there is none.
size_t controlLength(std::string_view text) {
    const auto first = static_cast<unsigned char>(text[0]);
    if (first < 0x20 || first == 0x7F) {
        return 1;
    }
    if (text.starts_with("\xC2") && static_cast<unsigned char>(text[1]) < 0xA0) {
        return 2;
    }
    // U+2028 and U+2029 end a line; U+202A to U+202E and U+2066 to U+2069 turn the direction of what follows.
    const auto third = static_cast<unsigned char>(text.size() > 2 ? text[2] : 0);
    const bool separates = text.starts_with("\xE2\x80") && third >= 0xA8 && third <= 0xAE;
    const bool isolates = text.starts_with("\xE2\x81") && third >= 0xA6 && third <= 0xA9;
    const bool isNone = text.starts_with("\xEF\xBF") && third >= 0xBE; // U+FFFE and U+FFFF
    return separates || isolates || isNone ? 3 : 0;
}

// Bytes that are no UTF-8 are escaped, and so many others as there are to be at the start of a valid text.
std::string withEscapes(std::string_view text, size_t (*lengthToEscape)(std::string_view)) {
    std::string visible;
    for (size_t valid = em::validUtf8Length(text); !text.empty();) {
        const size_t control = valid > 0 ? lengthToEscape(text) : 1; // a byte that is no UTF-8 counts as one
        const size_t length = control > 0 ? control : 1;
        visible += control > 0 ? escaped(text.substr(0, length)) : std::string(text.substr(0, length));
        text.remove_prefix(length);
        valid = valid > 0 ? valid - length : em::validUtf8Length(text);
    }
    return visible;
}

} // namespace

std::string visibleText(std::string_view text) {
    return withEscapes(text, controlLength);
}

size_t lengthInColumns(std::string_view text, size_t columns) {
    constexpr unsigned char kMayBeWide = 0xE1; // the first byte of U+1000 and all above
    size_t length = 0;
    for (; length < text.size(); ++length) {
        const auto byte = static_cast<unsigned char>(text[length]);
        if ((byte & 0xC0) == 0x80) {
            continue; // within a character
        }
        const size_t width = byte >= kMayBeWide ? 2 : 1;
        if (width > columns) {
            break;
        }
        columns -= width;
    }
    return length;
}

std::string utf8Text(std::string_view text) {
    return withEscapes(text, [](std::string_view) { return size_t{0}; });
}

} // namespace volad_dev

#include "markup/nul_reference.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "base/ascii.h"

namespace em {
namespace {

constexpr char kNoUtf8 = '\xFF';

struct Section {
    std::string_view opening, closing;
};
constexpr std::array<Section, 3> kVerbatim = {{{"<!--", "-->"}, {"<![CDATA[", "]]>"}, {"<?", "?>"}}};

// Behind the section that begins there; the same place when none does.
size_t behindVerbatim(std::string_view text, size_t at) {
    for (const Section& section : kVerbatim) {
        if (text.substr(at).starts_with(section.opening)) {
            const size_t end = text.find(section.closing, at + section.opening.size());
            return end == std::string_view::npos ? text.size() : end + section.closing.size();
        }
    }
    return at;
}

// The length of the reference to NUL that begins with the text; 0 when none does. Numbers wrap as the
// parser's.
size_t nulReferenceLength(std::string_view text) {
    if (!text.starts_with("&#")) {
        return 0;
    }
    const bool isHex = text.substr(2).starts_with('x');
    const size_t digits = isHex ? 3 : 2;
    uint32_t number = 0;
    size_t at = digits;
    for (; at < text.size(); ++at) {
        const int digit = hexDigit(text[at]);
        if (digit < 0 || (digit > 9 && !isHex)) {
            break;
        }
        number = number * (isHex ? 16 : 10) + static_cast<uint32_t>(digit);
    }
    return number == 0 && at > digits && text.substr(at).starts_with(';') ? at + 1 : 0;
}

} // namespace

void spoilNulReferences(std::span<char> document) {
    const std::string_view text(document.data(), document.size());
    if (text.find("&#") == std::string_view::npos) {
        return;
    }
    bool inTag = false;
    char quote = '\0'; // around the value that the place is in; there nothing else begins
    for (size_t at = 0; (at = text.find_first_of("<>&'\"", at)) != std::string_view::npos; ++at) {
        const char c = text[at];
        if (const size_t length = nulReferenceLength(text.substr(at))) {
            // Made invalid rather than cut out, so that offsets in error texts stay true; the reader ends a
            // text there.
            std::fill_n(document.begin() + static_cast<ptrdiff_t>(at), length, kNoUtf8);
        } else if (quote != '\0') {
            quote = c == quote ? '\0' : quote;
        } else if (const size_t behind = behindVerbatim(text, at); behind != at) {
            at = behind - 1;
        } else if (inTag && (c == '\'' || c == '"')) {
            quote = c;
        } else if (c == '<' || c == '>') {
            inTag = c == '<';
        }
    }
}

} // namespace em

// From the bytes of an XML file to UTF-8.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace em {

constexpr size_t kLargestXmlText = 64UL * 1024 * 1024; // bytes of UTF-8

// What the bytes of an XML document say of their encoding.
struct TextEncoding {
    std::string name;             // as iconv knows it
    std::string_view content;     // the bytes behind the byte-order mark
    std::string_view declaration; // the XML declaration that named it, else empty
};

// A byte-order mark (UTF-8, UTF-16 in both orders) decides; else the name in the XML declaration; else it is
// UTF-8. Returns null, or why the name cannot be one (a static text).
[[nodiscard]] const char* detectEncoding(std::string_view bytes, TextEncoding& encoding);

// Decodes into UTF-8 that is valid throughout and holds no NUL. Fails (a static text tells why, and `offset`
// which byte of the content) rather than replace or drop anything. A declaration that does not come out as it
// went in was lying. May throw bad_alloc.
[[nodiscard]] const char* decodeText(const TextEncoding& encoding, std::string& text, size_t& offset);

} // namespace em

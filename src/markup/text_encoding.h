// From the bytes of an XML file to UTF-8.
#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "base/file_content.h"

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

// Text, and the memory that it lies in.
struct DecodedText {
    std::unique_ptr<char, FreeDeleter> memory;
    std::span<char> text;
};

// Makes UTF-8 that is valid throughout and holds no NUL of the bytes that `decoded` holds and `encoding` was
// detected in: where they lie when they are UTF-8, else in memory of its own, and they are freed. Fails (a
// static text tells why, and `offset` which byte of the content) rather than replace or drop anything. A
// declaration that does not come out as it went in was lying. May throw bad_alloc.
[[nodiscard]] const char* decodeText(const TextEncoding& encoding, DecodedText& decoded, size_t& offset);

} // namespace em

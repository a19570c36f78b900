// How the text of a trace configuration file is read, for the module and for who checks such files. All texts
// are terminated: nothing behind a NUL counts, but for the search of the end marker.
#pragma once

#include <cstddef>
#include <cstdint>

namespace em {

inline constexpr size_t kLargestIniFile = size_t{16} * 1024 * 1024; // bytes
inline constexpr char kIniEndMarker[] = "EndOfFile";                // in any case

// Cuts the text at the "[" of its last header, which must be the end marker. False when it is another one.
[[nodiscard]] bool cutAtEndMarker(char* text, size_t size);

// A "[" and the next "]", wherever they stand; null, both, where there is none left.
struct IniHeader {
    char* open = nullptr;
    char* close = nullptr;

    [[nodiscard]] bool isOf(const char* section) const; // the name between them, in any case
};
[[nodiscard]] IniHeader nextIniHeader(char* text);

// First byte behind the header of that name, or null.
[[nodiscard]] char* findSectionBody(char* text, const char* section);
// Of the section whose body this is: up to the next "[", wherever that stands.
[[nodiscard]] size_t sectionLength(const char* body);

struct IniNumber {
    const char* key = nullptr;  // where the key was found; null: nowhere
    const char* text = nullptr; // behind the next "=" and blanks; null: there is none
    uint32_t value = 0;
};
// The first occurrence of the key as plain text, the next "=" behind it, and the number there in the base of
// its prefix (low 32 bits; no digits give 0). The key is not empty.
[[nodiscard]] IniNumber findIniNumber(const char* body, const char* key);

} // namespace em

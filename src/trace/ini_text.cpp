#include "trace/ini_text.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "base/ascii.h"

namespace em {

// The marker is what tells a whole file from one that is just being written.
bool cutAtEndMarker(char* text, size_t size) {
    const std::string_view content(text, size);
    const size_t close = content.rfind(']');
    if (close == std::string_view::npos) {
        return false;
    }
    const size_t open = content.rfind('[', close);
    if (open == std::string_view::npos ||
        !equalsIgnoringAsciiCase(content.substr(open + 1, close - open - 1), kIniEndMarker)) {
        return false;
    }
    text[open] = '\0';
    return true;
}

bool IniHeader::isOf(const char* section) const {
    return equalsIgnoringAsciiCase({open + 1, close}, section);
}

IniHeader nextIniHeader(char* text) {
    char* const open = std::strchr(text, '[');
    char* const close = open != nullptr ? std::strchr(open, ']') : nullptr;
    return close != nullptr ? IniHeader{open, close} : IniHeader{};
}

char* findSectionBody(char* text, const char* section) {
    for (IniHeader header = nextIniHeader(text); header.open != nullptr;
         header = nextIniHeader(header.close + 1)) {
        if (header.isOf(section)) {
            return header.close + 1;
        }
    }
    return nullptr;
}

// One in a comment ends it, too: this is how the files have always been read.
size_t sectionLength(const char* body) {
    return std::strcspn(body, "[");
}

IniNumber findIniNumber(const char* body, const char* key) {
    IniNumber found;
    // As plain text, so a longer key that holds this one comes first when it stands first.
    found.key = std::strstr(body, key);
    const char* text = found.key == nullptr ? nullptr : std::strchr(found.key + std::strlen(key), '=');
    if (text == nullptr) {
        return found;
    }
    do {
        ++text;
    } while (isAsciiBlank(*text));
    std::array<char, 65> number{};
    std::memcpy(number.data(), text, strnlen(text, std::min(std::strcspn(text, "\n"), number.size() - 1)));
    found.text = text;
    found.value = static_cast<uint32_t>(std::strtoul(number.data(), nullptr, 0));
    return found;
}

} // namespace em

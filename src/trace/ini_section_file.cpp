#include "trace/ini_section_file.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "base/ascii.h"
#include "base/unique_fd.h"

namespace em {
namespace {

constexpr size_t kPadding = 16;
constexpr size_t kLargestFile = size_t{16} * 1024 * 1024;
constexpr const char* kEndMarker = "EndOfFile";

// Cuts the text at the "[" of the closing marker. False when there is none.
// The marker is what tells a whole file from one that is just being written.
bool cutAtEndMarker(char* text, size_t size) {
    const std::string_view content(text, size);
    const size_t close = content.rfind(']');
    if (close == std::string_view::npos) {
        return false;
    }
    const size_t open = content.rfind('[', close);
    if (open == std::string_view::npos ||
        !equalsIgnoringAsciiCase(content.substr(open + 1, close - open - 1), kEndMarker)) {
        return false;
    }
    text[open] = '\0';
    return true;
}

// First byte behind the header of that name, or null.
char* findBody(char* text, const char* section) {
    for (char* open = std::strchr(text, '['); open != nullptr;) {
        char* const close = std::strchr(open, ']');
        if (close == nullptr) {
            return nullptr;
        }
        if (equalsIgnoringAsciiCase({open + 1, close}, section)) {
            return close + 1;
        }
        open = std::strchr(close + 1, '[');
    }
    return nullptr;
}

} // namespace

void IniSectionFile::Clear() {
    *this = {};
}

bool IniSectionFile::LoadSection(const char* section, const char* file, const char* directory) {
    Clear();
    const size_t size = std::strlen(directory) + 1 + std::strlen(file) + 1;
    m_path.reset(static_cast<char*>(std::malloc(size)));
    if (m_path == nullptr) {
        return false;
    }
    std::snprintf(m_path.get(), size, "%s/%s", directory, file);
    const Outcome outcome = Read(section);
    if (outcome == Outcome::NotOpened || outcome == Outcome::NotRead) {
        Clear();
    }
    return outcome == Outcome::Loaded;
}

bool IniSectionFile::LoadIfNewer(const char* section) {
    struct stat status;
    if (sys::stat(m_path.get(), &status) != 0) {
        Clear();
        return false;
    }
    if (status.st_mtime <= m_modified) {
        return false;
    }
    IniSectionFile newer;
    newer.m_path = std::move(m_path);
    const Outcome outcome = newer.Read(section);
    if (outcome == Outcome::Loaded) {
        *this = std::move(newer);
    } else if (outcome == Outcome::NotOpened) {
        Clear();
    } else {
        m_path = std::move(newer.m_path); // and the old time with it: the next call tries again
    }
    return outcome == Outcome::Loaded;
}

IniSectionFile::Outcome IniSectionFile::Read(const char* section) {
    const UniqueFd file(sys::open(m_path.get(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!file.valid()) {
        return Outcome::NotOpened;
    }
    FileContent content;
    if (readRegularFile(file.get(), kLargestFile, kPadding, content) != 0) {
        return Outcome::NotRead;
    }
    m_modified = content.status.st_mtime;
    char* const body =
        cutAtEndMarker(content.data.get(), content.size) ? findBody(content.data.get(), section) : nullptr;
    if (body == nullptr) {
        return Outcome::NoSection;
    }
    // Whatever "[" comes next ends the section, one in a comment too: this is how the files have always been
    // read.
    body[std::strcspn(body, "[")] = '\0';
    m_buffer = std::move(content.data);
    m_body = body;
    return Outcome::Loaded;
}

bool IniSectionFile::GetIntValue(const char* key, uint32_t& value) const {
    if (key == nullptr || *key == '\0' || m_body == nullptr) {
        return false;
    }
    // As plain text, so a longer key that holds this one comes first when it stands first.
    const char* const found = std::strstr(m_body, key);
    const char* text = found == nullptr ? nullptr : std::strchr(found + std::strlen(key), '=');
    if (text == nullptr) {
        return false;
    }
    do {
        ++text;
    } while (isAsciiBlank(*text));
    std::array<char, 65> number{};
    std::memcpy(number.data(), text, strnlen(text, std::min(std::strcspn(text, "\n"), number.size() - 1)));
    value = static_cast<uint32_t>(std::strtoul(number.data(), nullptr, 0));
    return true;
}

} // namespace em

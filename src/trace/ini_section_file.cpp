#include "trace/ini_section_file.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <utility>

#include "platform/base/system.h"

namespace em {
namespace {

constexpr size_t kPadding = 16;
constexpr size_t kLargestFile = size_t{16} * 1024 * 1024;
constexpr const char* kEndMarker = "EndOfFile";

bool equalsIgnoringCase(const char* from, const char* to, const char* name) {
    const size_t length = static_cast<size_t>(to - from);
    return length == std::strlen(name) && strncasecmp(from, name, length) == 0;
}

// Cuts the text at the "[" of the closing marker. False when there is none.
bool cutAtEndMarker(char* text, size_t size) {
    const std::string_view content(text, size);
    const size_t close = content.rfind(']');
    if (close == std::string_view::npos) {
        return false;
    }
    const size_t open = content.rfind('[', close);
    if (open == std::string_view::npos || !equalsIgnoringCase(text + open + 1, text + close, kEndMarker)) {
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
        if (equalsIgnoringCase(open + 1, close, section)) {
            return close + 1;
        }
        open = std::strchr(close + 1, '[');
    }
    return nullptr;
}

} // namespace

void IniSectionFile::Clear() {
    m_pBuffer.reset();
    m_pBody = nullptr;
    m_pEnd = nullptr;
    m_pPath.reset();
    m_nSize = 0;
    m_nModified = 0;
}

bool IniSectionFile::LoadSection(const char* section, const char* file, const char* directory) {
    Clear();
    const size_t size = std::strlen(directory) + 1 + std::strlen(file) + 1;
    m_pPath.reset(static_cast<char*>(std::malloc(size)));
    if (m_pPath == nullptr) {
        return false;
    }
    std::snprintf(m_pPath.get(), size, "%s/%s", directory, file);
    const Outcome outcome = Read(section);
    if (outcome == Outcome::Unreadable) {
        Clear();
    }
    return outcome == Outcome::Loaded;
}

IniSectionFile::Update IniSectionFile::LoadIfNewer(const char* section) {
    struct stat status;
    if (sys::stat(m_pPath.get(), &status) != 0) {
        Clear();
        return Update::Gone;
    }
    if (status.st_mtime <= m_nModified) {
        return Update::None;
    }
    IniSectionFile newer;
    newer.m_pPath = std::move(m_pPath);
    const Outcome outcome = newer.Read(section);
    m_pPath = std::move(newer.m_pPath);
    if (outcome != Outcome::Loaded) {
        return Update::Unusable;
    }
    m_pBuffer = std::move(newer.m_pBuffer);
    m_pBody = newer.m_pBody;
    m_pEnd = newer.m_pEnd;
    m_nSize = newer.m_nSize;
    m_nModified = newer.m_nModified;
    return Update::Loaded;
}

IniSectionFile::Outcome IniSectionFile::Read(const char* section) {
    FileContent content;
    if (ReadRegularFile(m_pPath.get(), kLargestFile, kPadding, content) != 0) {
        return Outcome::Unreadable;
    }
    m_pBuffer = std::move(content.data);
    m_nSize = content.status.st_size;
    m_nModified = content.status.st_mtime;
    char* const body =
        cutAtEndMarker(m_pBuffer.get(), content.size) ? findBody(m_pBuffer.get(), section) : nullptr;
    if (body == nullptr) {
        m_pBuffer.reset();
        return Outcome::NoSection;
    }
    char* const end = body + std::strcspn(body, "[");
    *end = '\0';
    m_pBody = body;
    m_pEnd = end;
    return Outcome::Loaded;
}

bool IniSectionFile::GetIntValue(const char* key, uint32_t& value) const {
    if (key == nullptr || *key == '\0' || m_pBody == nullptr) {
        return false;
    }
    const char* const found = std::strstr(m_pBody, key);
    const char* text = found == nullptr ? nullptr : std::strchr(found + std::strlen(key), '=');
    if (text == nullptr) {
        return false;
    }
    ++text;
    text += std::strspn(text, " \t\n\v\f\r");
    std::array<char, 65> number{};
    std::memcpy(number.data(), text, strnlen(text, std::min(std::strcspn(text, "\n"), number.size() - 1)));
    value = static_cast<uint32_t>(std::strtoul(number.data(), nullptr, 0));
    return true;
}

} // namespace em

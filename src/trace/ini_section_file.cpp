#include "trace/ini_section_file.h"

#include <cstdio>
#include <cstring>
#include <utility>

#include "base/system.h"
#include "base/unique_fd.h"
#include "trace/ini_text.h"

namespace em {
namespace {

constexpr size_t kPadding = 16;

} // namespace

void IniSectionFile::Clear() {
    *this = {};
}

bool IniSectionFile::LoadSection(const char* section, const char* file, const char* directory) {
    Clear();
    const size_t size = std::strlen(directory) + 1 + std::strlen(file) + 1;
    m_path.reset(static_cast<char*>(sys::malloc(size)));
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
    if (readRegularFile(file.get(), kLargestIniFile, kPadding, content) != 0) {
        return Outcome::NotRead;
    }
    m_modified = content.status.st_mtime;
    char* const body = cutAtEndMarker(content.data.get(), content.size)
                           ? findSectionBody(content.data.get(), section)
                           : nullptr;
    if (body == nullptr) {
        return Outcome::NoSection;
    }
    body[sectionLength(body)] = '\0';
    m_buffer = std::move(content.data);
    m_body = body;
    return Outcome::Loaded;
}

bool IniSectionFile::GetIntValue(const char* key, uint32_t& value) const {
    if (key == nullptr || *key == '\0' || m_body == nullptr) {
        return false;
    }
    const IniNumber found = findIniNumber(m_body, key);
    if (found.text == nullptr) {
        return false;
    }
    value = found.value;
    return true;
}

} // namespace em

#include "platform/profile/profile_file.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "base/swallow.h"
#include "platform/profile/profile_line.h"
#include "platform/profile/profile_string.h"
#include "trace/trace.h"

namespace em {
namespace {

constexpr size_t kFirstBuffer = 1024; // holds every value

// Also for the reading operations the line names the writing call.
bool hasSection(const char* section) {
    if (section == nullptr) {
        EM_TRACE(4, "WritePrivateProfileString: ## WARNING: invalid pointer to AppName\n");
    }
    return section != nullptr;
}

} // namespace

CProfileFile::CProfileFile(const char* fileName)
    : m_fileName(textOr(fileName)), m_named(fileName != nullptr) {}

uint32_t CProfileFile::ReadInteger(const char* section, const char* key, uint32_t defaultNumber) {
    std::array<char, 32> number{};
    if (File() == nullptr || !hasSection(section) || key == nullptr ||
        GetPrivateProfileString(section, key, nullptr, number.data(), number.size(), File()) == 0) {
        return defaultNumber;
    }
    return static_cast<uint32_t>(std::strtoul(number.data(), nullptr, 0));
}

const char* CProfileFile::ReadString(const char* section, const char* key, const char* defaultText) {
    return ReadOr(defaultText, [&]() -> uint32_t {
        if (File() == nullptr || !hasSection(section) || key == nullptr) {
            return 0;
        }
        m_scratch.assign(kFirstBuffer, '\0');
        return GetPrivateProfileString(section, key, nullptr, m_scratch.data(),
                                       static_cast<uint32_t>(m_scratch.size()), File());
    });
}

const char* CProfileFile::ReadSectionList(const char* defaultText) {
    return ReadOr(defaultText, [&] { return File() == nullptr ? 0 : ReadList(nullptr); });
}

const char* CProfileFile::ReadKeyList(const char* section, const char* defaultText) {
    return ReadOr(defaultText,
                  [&] { return File() == nullptr || !hasSection(section) ? 0 : ReadList(section); });
}

bool CProfileFile::KeyNames(const char* section, std::vector<std::string>& names) {
    names.clear();
    return File() != nullptr && hasSection(section) && Names(section, names);
}

bool CProfileFile::SectionNames(std::vector<std::string>& names) {
    names.clear();
    return File() != nullptr && Names(nullptr, names);
}

uint32_t CProfileFile::WriteValue(const char* section, const char* key, const char* value) {
    return Write(section, key, value);
}

uint32_t CProfileFile::WriteUnsigned(const char* section, const char* key, uint32_t number) {
    std::array<char, 30> text;
    std::snprintf(text.data(), text.size(), "%u", number);
    return Write(section, key, text.data());
}

uint32_t CProfileFile::WriteSigned(const char* section, const char* key, int32_t number) {
    std::array<char, 30> text;
    std::snprintf(text.data(), text.size(), "%d", number);
    return Write(section, key, text.data());
}

uint32_t CProfileFile::DeleteKey(const char* section, const char* key) {
    return Write(section, key, nullptr);
}

uint32_t CProfileFile::DeleteSection(const char* section) {
    return Write(section, nullptr, nullptr);
}

// Two warnings in one order: file name first, section second.
uint32_t CProfileFile::Write(const char* section, const char* key, const char* value) {
    if (File() == nullptr) {
        EM_TRACE(4, "WritePrivateProfileString: ## WARNING: invalid pointer to FileName\n");
        return 0;
    }
    return hasSection(section) ? WritePrivateProfileString(section, key, value, File()) : 0;
}

uint32_t CProfileFile::ReadList(const char* section) {
    uint32_t count = 0;
    static_cast<void>(swallow([&] {
        for (size_t size = kFirstBuffer;; size *= 2) {
            m_scratch.assign(size, '\0');
            count = GetPrivateProfileString(section, nullptr, nullptr, m_scratch.data(),
                                            static_cast<uint32_t>(size), File());
            // An exact fit looks like a cut one. Names and terminators never take more than the file's bytes.
            if (count < size - 2 || size > kLargestProfile + 2) {
                return;
            }
        }
    }));
    return count;
}

bool CProfileFile::Names(const char* section, std::vector<std::string>& names) {
    const size_t count = ReadList(section);
    static_cast<void>(swallow([&] {
        for (size_t at = 0; at < count;) {
            names.emplace_back(m_scratch.c_str() + at);
            at += names.back().size() + 1;
        }
    }));
    return !names.empty();
}

// The default is copied first: it may lie in the scratch buffer, as the result of the call before.
template <class Read>
const char* CProfileFile::ReadOr(const char* defaultText, Read&& read) {
    const char* result = textOr(defaultText); // for want of memory, and nothing was touched then
    static_cast<void>(swallow([&] {
        std::string instead = result;
        instead += '\0'; // a list ends in two
        uint32_t count = 0;
        static_cast<void>(swallow([&] { count = read(); }));
        if (count == 0) {
            m_scratch = std::move(instead);
        }
        result = m_scratch.c_str();
    }));
    return result;
}

} // namespace em

#include <algorithm>
#include <cstring>

#include "base/file_content.h"
#include "platform/profile/profile_line.h"
#include "platform/profile/profile_string.h"
#include "trace/trace.h"

namespace em {
namespace {

// The caller's buffer and what was produced in it.
class Output {
public:
    Output(char* out, uint32_t size) : m_pOut(out), m_nSize(size) { m_pOut[0] = '\0'; }

    [[nodiscard]] uint32_t produced() const { return m_nProduced; }
    // size - 2 would wrap for the smallest buffers.
    [[nodiscard]] bool hasRoom() const { return uint64_t{m_nProduced} + 2 < m_nSize; }

    void addName(std::string_view name) {
        add(name);
        constexpr char terminator = '\0';
        add(std::string_view(&terminator, 1));
    }

    // At most size - 1 characters, terminated.
    uint32_t setText(std::string_view text) {
        m_nProduced = 0;
        add(text);
        m_nProduced = std::min(m_nProduced, m_nSize - 1);
        m_pOut[m_nProduced] = '\0';
        return m_nProduced;
    }

    // A list ends in two terminators, also when its last name had to be cut.
    uint32_t endList() {
        if (m_nProduced >= m_nSize) {
            m_nProduced = m_nSize - 2;
            m_pOut[m_nProduced + 1] = '\0';
        }
        m_pOut[m_nProduced] = '\0';
        return m_nProduced;
    }

private:
    void add(std::string_view text) {
        const size_t count = std::min<size_t>(text.size(), m_nSize - m_nProduced);
        std::memcpy(m_pOut + m_nProduced, text.data(), count);
        m_nProduced += static_cast<uint32_t>(count);
    }

    char* const m_pOut;
    const uint32_t m_nSize;
    uint32_t m_nProduced = 0;
};

uint32_t listSections(std::string_view content, Output& out) {
    ProfileLines lines(content);
    for (ProfileLine line; out.hasRoom() && lines.Next(line);) {
        if (const auto name = line.withoutComment().headerName()) {
            out.addName(*name);
        }
    }
    return out.endList();
}

// Stops before the first line behind the wanted section.
class SectionLines {
public:
    SectionLines(std::string_view content, const char* section) : m_Lines(content), m_pSection(section) {}

    // The next line within the section that has a "=".
    // A second section of the same name is never read: the first one ends the search.
    [[nodiscard]] bool Next(ProfileLine& line) {
        while (m_Lines.Next(line)) {
            line = line.withoutComment();
            if (line.headerName()) {
                if (m_bInside) {
                    return false;
                }
                m_bInside = line.isHeaderOf(m_pSection);
            } else if (m_bInside && line.key()) {
                return true;
            }
        }
        return false;
    }

private:
    ProfileLines m_Lines;
    const char* const m_pSection;
    bool m_bInside = false;
};

uint32_t listKeys(std::string_view content, const char* section, Output& out) {
    SectionLines lines(content, section);
    for (ProfileLine line; out.hasRoom() && lines.Next(line);) {
        out.addName(*line.key());
    }
    return out.endList();
}

uint32_t findValue(std::string_view content, const char* section, const char* key, Output& out) {
    if (!out.hasRoom()) {
        return 0;
    }
    SectionLines lines(content, section);
    for (ProfileLine line; lines.Next(line);) {
        if (*line.key() == key) {
            return out.setText(line.value());
        }
    }
    return 0;
}

uint32_t search(const char* section, const char* key, Output& out, const char* file) {
    FileContent content;
    if (file == nullptr || ReadRegularFile(file, kLargestProfile, 0, content) != 0) {
        EM_TRACE(4, "GetPrivateProfileString: Cannot open %s\n", textOr(file));
        return 0;
    }
    const std::string_view text(content.data.get(), content.size);
    if (section == nullptr) {
        return listSections(text, out);
    }
    return key == nullptr ? listKeys(text, section, out) : findValue(text, section, key, out);
}

} // namespace

uint32_t GetPrivateProfileString(const char* section, const char* key, const char* defaultText, char* out,
                                 uint32_t size, const char* file) {
    if (out == nullptr || size == 0) {
        return 0;
    }
    Output output(out, size);
    const uint32_t count = search(section, key, output, file);
    if (count > 0 || section == nullptr || key == nullptr || defaultText == nullptr) {
        return count;
    }
    return output.setText(defaultText);
}

} // namespace em

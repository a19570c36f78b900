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
    Output(char* out, uint32_t size) : m_out(out), m_size(size) { m_out[0] = '\0'; }

    [[nodiscard]] uint32_t produced() const { return m_produced; }
    // size - 2 would wrap for the smallest buffers.
    [[nodiscard]] bool hasRoom() const { return uint64_t{m_produced} + 2 < m_size; }

    void addName(std::string_view name) {
        add(name);
        constexpr char terminator = '\0';
        add(std::string_view(&terminator, 1));
    }

    // At most size - 1 characters, terminated.
    uint32_t setText(std::string_view text) {
        m_produced = 0;
        add(text);
        m_produced = std::min(m_produced, m_size - 1);
        m_out[m_produced] = '\0';
        return m_produced;
    }

    // A list ends in two terminators, also when its last name had to be cut.
    uint32_t endList() {
        if (m_produced >= m_size) {
            m_produced = m_size - 2;
            m_out[m_produced + 1] = '\0';
        }
        m_out[m_produced] = '\0';
        return m_produced;
    }

private:
    void add(std::string_view text) {
        const size_t count = std::min<size_t>(text.size(), m_size - m_produced);
        std::memcpy(m_out + m_produced, text.data(), count);
        m_produced += static_cast<uint32_t>(count);
    }

    char* const m_out;
    const uint32_t m_size;
    uint32_t m_produced = 0;
};

uint32_t listSections(std::string_view content, Output& out) {
    ProfileLines lines(content);
    for (ProfileLine line; out.hasRoom() && lines.next(line);) {
        if (const auto name = line.withoutComment().headerName()) {
            out.addName(*name);
        }
    }
    return out.endList();
}

// Stops before the first line behind the wanted section.
class SectionLines {
public:
    SectionLines(std::string_view content, const char* section) : m_lines(content), m_section(section) {}

    // The next line within the section that has a "=".
    // A second section of the same name is never read: the first one ends the search.
    [[nodiscard]] bool next(ProfileLine& line) {
        while (m_lines.next(line)) {
            line = line.withoutComment();
            if (line.headerName()) {
                if (m_inside) {
                    return false;
                }
                m_inside = line.isHeaderOf(m_section);
            } else if (m_inside && line.key()) {
                return true;
            }
        }
        return false;
    }

private:
    ProfileLines m_lines;
    const char* const m_section;
    bool m_inside = false;
};

uint32_t listKeys(std::string_view content, const char* section, Output& out) {
    SectionLines lines(content, section);
    for (ProfileLine line; out.hasRoom() && lines.next(line);) {
        out.addName(*line.key());
    }
    return out.endList();
}

// No room, no search: a value of which nothing fits counts as none.
uint32_t findValue(std::string_view content, const char* section, const char* key, Output& out) {
    if (!out.hasRoom()) {
        return 0;
    }
    SectionLines lines(content, section);
    for (ProfileLine line; lines.next(line);) {
        if (*line.key() == key) {
            return out.setText(line.value());
        }
    }
    return 0;
}

uint32_t search(const char* section, const char* key, Output& out, const char* file) {
    FileContent content;
    if (file == nullptr || readRegularFile(file, kLargestProfile, 0, content) != 0) {
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

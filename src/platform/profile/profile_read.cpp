#include <algorithm>
#include <cstring>

#include "platform/profile/profile_line.h"
#include "platform/profile/profile_scan.h"
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

// A line as reading sees it: up to a NUL, and up to a comment.
ProfileLine readable(std::string_view text) {
    return ProfileLine{0, 0, text.substr(0, text.find('\0'))}.withoutComment();
}

// Whether the line is a header. Only lines that may be one are looked at from near.
bool isHeader(std::string_view text, ProfileLine& line) {
    if (text.empty() || text[0] != '[') {
        return false;
    }
    line = readable(text);
    return line.headerName().has_value();
}

uint32_t listSections(ProfileScan& scan, Output& out) {
    ProfileLine line;
    for (std::string_view text; out.hasRoom() && scan.next(text);) {
        if (isHeader(text, line)) {
            out.addName(*line.headerName());
        }
    }
    return out.endList();
}

// A second section of the same name is never read: the first one ends the search.
bool enterSection(ProfileScan& scan, const char* section) {
    ProfileLine line;
    for (std::string_view text; scan.next(text);) {
        if (isHeader(text, line) && line.isHeaderOf(section)) {
            return true;
        }
    }
    return false;
}

// The next line of the section that was entered.
bool nextWithin(ProfileScan& scan, std::string_view& text) {
    ProfileLine line;
    return scan.next(text) && !isHeader(text, line);
}

uint32_t listKeys(ProfileScan& scan, const char* section, Output& out) {
    if (enterSection(scan, section)) {
        for (std::string_view text; out.hasRoom() && nextWithin(scan, text);) {
            if (const auto key = readable(text).key()) {
                out.addName(*key);
            }
        }
    }
    return out.endList();
}

// No room, no search: a value of which nothing fits counts as none.
uint32_t findValue(ProfileScan& scan, const char* section, std::string_view key, Output& out) {
    if (!out.hasRoom() || !enterSection(scan, section)) {
        return 0;
    }
    for (std::string_view text; nextWithin(scan, text);) {
        if (text.starts_with(key)) { // a longer key, maybe
            const ProfileLine line = readable(text);
            if (line.key() == key) {
                return out.setText(line.value());
            }
        }
    }
    return 0;
}

uint32_t search(const char* section, const char* key, Output& out, const char* file) {
    ProfileScan scan(file);
    uint32_t count = 0;
    if (scan.error() == 0) {
        count = section == nullptr ? listSections(scan, out)
                : key == nullptr   ? listKeys(scan, section, out)
                                   : findValue(scan, section, key, out);
    }
    if (scan.error() != 0) {
        EM_TRACE(4, "GetPrivateProfileString: Cannot open %s\n", textOr(file));
        return out.setText("");
    }
    return count;
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

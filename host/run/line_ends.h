// Where the lines of a trace end: at newlines, and at "\r" and NUL, which a file system may leave where the
// machine went down.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string_view>

namespace volad_dev {

[[nodiscard]] inline bool isLineEnd(char byte) {
    return byte == '\n' || byte == '\r' || byte == '\0';
}

// The first one, or the text's end.
[[nodiscard]] inline size_t firstLineEnd(std::string_view text) {
    return static_cast<size_t>(std::find_if(text.begin(), text.end(), isLineEnd) - text.begin());
}

// Behind the last one, or 0.
[[nodiscard]] inline size_t behindLastLineEnd(std::string_view text) {
    size_t end = text.size();
    while (end > 0 && !isLineEnd(text[end - 1])) {
        --end;
    }
    return end;
}

// The same within one text, of which it knows whether it has newlines alone, as most have.
class LineEnds {
public:
    // Looks the whole text through, which must outlive this.
    explicit LineEnds(std::string_view text)
        : m_text(text), m_newlinesOnly(text.find('\r') == kNone && text.find('\0') == kNone) {}

    [[nodiscard]] std::string_view text() const { return m_text; }

    [[nodiscard]] size_t nextFrom(size_t at) const {
        return m_newlinesOnly ? std::min(m_text.find('\n', at), m_text.size())
                              : at + firstLineEnd(m_text.substr(at));
    }
    // Behind the last one between the two, or `least`.
    [[nodiscard]] size_t behindLast(size_t least, size_t at) const {
        const std::string_view between = m_text.substr(least, at - least);
        if (!m_newlinesOnly) {
            return least + behindLastLineEnd(between);
        }
        // Not rfind, which goes byte by byte.
        const void* const newline = ::memrchr(between.data(), '\n', between.size());
        return newline == nullptr
                   ? least
                   : static_cast<size_t>(static_cast<const char*>(newline) - m_text.data()) + 1;
    }

private:
    static constexpr size_t kNone = std::string_view::npos;

    std::string_view m_text;
    bool m_newlinesOnly;
};

} // namespace volad_dev

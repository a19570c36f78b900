// Lines out of bytes as they come.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace volad_dev {

class LineBuffer {
public:
    // Of one line; a longer one is handed out in pieces.
    static constexpr size_t kLongestLine = size_t{1} << 20;

    void take(std::string_view bytes) {
        m_bytes.erase(0, m_begin); // once for all the lines that were handed out
        m_begin = 0;
        m_bytes.append(bytes);
    }
    // The next whole line, without its end.
    [[nodiscard]] std::optional<std::string> next() {
        const size_t length = std::min(m_bytes.find('\n', m_begin), m_bytes.size()) - m_begin;
        const bool whole = m_begin + length < m_bytes.size();
        if (!whole && length < kLongestLine) {
            return std::nullopt;
        }
        std::string line = m_bytes.substr(m_begin, std::min(length, kLongestLine));
        m_begin += line.size() + (whole && line.size() == length ? 1 : 0);
        return line;
    }
    // What has no line end, when nothing more comes.
    [[nodiscard]] std::optional<std::string> last() {
        std::string line = m_bytes.substr(m_begin);
        m_bytes.clear();
        m_begin = 0;
        return line.empty() ? std::nullopt : std::optional(std::move(line));
    }

private:
    std::string m_bytes;
    size_t m_begin = 0; // of what was not handed out yet
};

} // namespace volad_dev

// Lines out of bytes as they come.
#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>

namespace volad_dev {

class LineBuffer {
public:
    // Of one line; a longer one is handed out in pieces.
    static constexpr size_t kLongestLine = size_t{1} << 20;

    void take(std::string_view bytes) { m_bytes.append(bytes); }
    // The next whole line, without its end.
    [[nodiscard]] std::optional<std::string> next() {
        const size_t end = m_bytes.find('\n');
        if (end == std::string::npos && m_bytes.size() < kLongestLine) {
            return std::nullopt;
        }
        const size_t length = std::min({end, m_bytes.size(), kLongestLine});
        std::string line = m_bytes.substr(0, length);
        m_bytes.erase(0, length + (length == end ? 1 : 0));
        return line;
    }
    // What has no line end, when nothing more comes.
    [[nodiscard]] std::optional<std::string> last() {
        std::string line;
        line.swap(m_bytes);
        return line.empty() ? std::nullopt : std::optional(std::move(line));
    }

private:
    std::string m_bytes;
};

} // namespace volad_dev

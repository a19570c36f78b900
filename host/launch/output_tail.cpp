#include "host/launch/output_tail.h"

#include <algorithm>

namespace volad_dev {

void OutputTail::take(std::string_view bytes) {
    while (!bytes.empty()) {
        const size_t end = std::min(bytes.find('\n'), bytes.size());
        m_open.append(bytes.substr(0, std::min(end, kLongestLine - std::min(kLongestLine, m_open.size()))));
        if (end == bytes.size()) {
            return;
        }
        m_lines.push_back(std::move(m_open));
        m_open.clear();
        if (m_lines.size() > kMostLines) {
            m_lines.pop_front();
            ++m_dropped;
        }
        bytes.remove_prefix(end + 1);
    }
}

std::vector<std::string> OutputTail::lines() const {
    std::vector<std::string> all(m_lines.begin(), m_lines.end());
    if (!m_open.empty()) {
        all.push_back(m_open);
    }
    return all;
}

} // namespace volad_dev

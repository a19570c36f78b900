#include "host/drive/trace_log.h"

#include <algorithm>

namespace volad_dev {

void TraceLog::add(const std::string& line) {
    const MutexLock lock(m_mutex);
    m_lines.push_back(line);
    if (m_lines.size() > kMostLines) {
        m_lines.pop_front();
        ++m_forgotten;
    }
    m_added.set();
}

// Cleared under the mutex: what is added from then on sets it again.
std::optional<TraceLog::Line> TraceLog::find(const std::string& text, size_t from) const {
    const MutexLock lock(m_mutex);
    m_added.clear();
    for (size_t i = std::max(from, m_forgotten) - m_forgotten; i < m_lines.size(); ++i) {
        if (m_lines[i].find(text) != std::string::npos) {
            return Line{m_forgotten + i, m_lines[i]};
        }
    }
    return std::nullopt;
}

size_t TraceLog::end() const {
    const MutexLock lock(m_mutex);
    return m_forgotten + m_lines.size();
}

std::string TraceLog::last() const {
    const MutexLock lock(m_mutex);
    return m_lines.empty() ? "" : m_lines.back();
}

} // namespace volad_dev

// The module's trace as far as it has come, line by line.
#pragma once

#include <cstddef>
#include <deque>
#include <optional>
#include <string>

#include "host/common/event_fd.h"
#include "host/common/mutex.h"

namespace volad_dev {

// Any thread; the module's threads add, the host's reads. Lines have numbers, from 0. Making one may throw
// std::system_error.
class TraceLog {
public:
    void add(const std::string& line);

    struct Line {
        size_t number;
        std::string text;
    };
    // The first line from `from` on that holds the text. Of very many lines the oldest are forgotten.
    [[nodiscard]] std::optional<Line> find(const std::string& text, size_t from) const;
    // Of the line that comes next.
    [[nodiscard]] size_t end() const;
    // Empty for none.
    [[nodiscard]] std::string last() const;
    // Readable once something was added since the last find().
    [[nodiscard]] int fd() const { return m_added.get(); }

private:
    static constexpr size_t kMostLines = 200'000;

    mutable Mutex m_mutex;
    std::deque<std::string> m_lines EM_GUARDED_BY(m_mutex);
    size_t m_forgotten EM_GUARDED_BY(m_mutex) = 0;
    EventFd m_added;
};

} // namespace volad_dev

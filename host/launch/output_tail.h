// The last lines of what somebody printed, however much it was.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace volad_dev {

class OutputTail {
public:
    void take(std::string_view bytes);
    // The last ones, a line without its end included; longer lines are cut.
    [[nodiscard]] std::vector<std::string> lines() const;
    [[nodiscard]] size_t linesBefore() const { return m_dropped; } // that are not among them

private:
    static constexpr size_t kMostLines = 50;
    static constexpr size_t kLongestLine = 500;

    std::deque<std::string> m_lines;
    std::string m_open; // the line that has no end yet
    size_t m_dropped = 0;
};

} // namespace volad_dev

// The syntax of profile files, line by line.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace em {

constexpr size_t kLongestProfileLine = 1023;           // characters; what is behind them is skipped
constexpr size_t kLargestProfile = 16UL * 1024 * 1024; // bytes of a file

struct ProfileLine {
    size_t from = 0; // offsets of the whole line in the file, its line end included
    size_t to = 0;
    std::string_view text; // its first 1,023 characters, up to a NUL, without leading blanks

    // An empty line or a comment.
    [[nodiscard]] bool skipped() const { return text.empty() || text[0] == ';'; }
    // Whether it is the header of that section.
    [[nodiscard]] bool isHeaderOf(std::string_view section) const;
    // The name in a header; nothing when the line is no header.
    [[nodiscard]] std::optional<std::string_view> headerName() const;
    // The key in front of the first "="; nothing when there is none.
    [[nodiscard]] std::optional<std::string_view> key() const;
    // What stands behind the first "=", without blanks around; empty when there is none.
    [[nodiscard]] std::string_view value() const;

    // The line as reading sees it: up to a ";".
    [[nodiscard]] ProfileLine withoutComment() const;
};

// Takes the lines of a file's content one after the other.
class ProfileLines {
public:
    // A byte-order mark in front is no part of the first line.
    explicit ProfileLines(std::string_view content)
        : m_content(content), m_at(content.starts_with("\xEF\xBB\xBF") ? 3 : 0) {}

    // False at the end.
    [[nodiscard]] bool next(ProfileLine& line);

private:
    std::string_view m_content;
    size_t m_at;
};

} // namespace em

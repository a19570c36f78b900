// A line of a script, taken apart from front to back. Blanks between its parts do not count, and "#" in front
// of a part begins a comment.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace volad_dev {

// What is wrong with a line, without its place.
class ScriptFault : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

class LineScanner {
public:
    // Without the line end.
    explicit LineScanner(std::string_view line) : m_rest(line) { skipBlanks(); }

    [[nodiscard]] bool atEnd() const { return m_rest.empty() || m_rest.front() == '#'; }
    // Whether what comes next is a JSON text, object or list.
    [[nodiscard]] bool atText() const { return !atEnd() && m_rest.front() == '"'; }
    [[nodiscard]] bool atStructure() const {
        return !atEnd() && (m_rest.front() == '{' || m_rest.front() == '[');
    }

    // What was taken since an earlier state of this scanner, without the blanks behind it.
    [[nodiscard]] std::string takenSince(const LineScanner& earlier) const;

    // Up to the next blank; empty at the end.
    [[nodiscard]] std::string word();
    // The same up to a character of these, which stays.
    [[nodiscard]] std::string wordUpTo(std::string_view ends);
    // One character, with no blank in front or behind. False when another one comes.
    [[nodiscard]] bool take(char character);
    // Whether the next word is this one, which is taken then.
    [[nodiscard]] bool takeWord(std::string_view word);
    // A JSON value, as it stands. Throws ScriptFault.
    [[nodiscard]] std::string json();
    // A JSON value where one stands alone up to the end, "VALUE" or "VALUE # comment"; else nothing is taken.
    [[nodiscard]] std::optional<std::string> jsonToEnd();
    // A JSON text, as what it means. Throws ScriptFault.
    [[nodiscard]] std::string text();
    // All that is left, without the blanks behind it; "#" is part of it.
    [[nodiscard]] std::string rest();

private:
    void skipBlanks();
    [[nodiscard]] std::string take(size_t length);

    std::string_view m_rest;
};

} // namespace volad_dev

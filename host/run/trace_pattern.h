// A format of printf as a pattern for the lines that were written with it.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace volad_dev {

// What stood in place of the format's conversions, in their order.
struct TraceFields {
    std::array<std::string_view, 10> texts;
    size_t count = 0;

    [[nodiscard]] std::string_view text(size_t index) const { return texts[index]; }
    // Of "%d" and "%X"; nothing for one that does not fit.
    [[nodiscard]] std::optional<int64_t> number(size_t index, int base = 10) const;
};

class TracePattern {
public:
    // Line breaks at both ends are no part of the pattern; at one inside, it ends. Knows %s, %d and %X with
    // flags and width.
    explicit TracePattern(std::string_view format);

    // From the line's start; what stands behind the pattern's last literal does not count. A "%s" reaches as
    // far as it can at the end of a pattern, and takes no blanks there, else as little as it can. Of two
    // numbers with nothing in between the first is as long as its width.
    [[nodiscard]] std::optional<TraceFields> match(std::string_view line) const;
    // What every line of the pattern begins with.
    [[nodiscard]] std::string_view head() const { return m_pieces.front().literal; }

private:
    struct Piece {
        std::string_view literal;
        char conversion; // behind it; 0 at the end
        size_t width;    // of that
    };

    [[nodiscard]] static std::optional<size_t> lengthOf(std::string_view text, const Piece& converted,
                                                        const Piece& next);

    std::vector<Piece> m_pieces;
};

} // namespace volad_dev

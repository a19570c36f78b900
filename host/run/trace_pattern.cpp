#include "host/run/trace_pattern.h"

#include <algorithm>
#include <charconv>

namespace volad_dev {
namespace {

constexpr std::string_view kDigits = "0123456789";
constexpr std::string_view kHexDigits = "0123456789ABCDEFabcdef";

std::string_view withoutLineBreaks(std::string_view format) {
    format.remove_prefix(std::min(format.find_first_not_of('\n'), format.size()));
    return format.substr(0, format.find('\n'));
}

size_t numberLength(std::string_view text, char conversion) {
    const size_t sign = conversion == 'd' && text.starts_with('-') ? 1 : 0;
    const size_t end = text.find_first_not_of(conversion == 'd' ? kDigits : kHexDigits, sign);
    const size_t length = std::min(end, text.size());
    return length > sign ? length : 0;
}

// How much of the text a "%s" takes in front of that literal; nothing where the literal is missing.
std::optional<size_t> textLength(std::string_view text, std::string_view literal, bool last) {
    if (last && literal.empty()) {
        return text.find_last_not_of(" \t") + 1;
    }
    const size_t found = last ? text.rfind(literal) : text.find(literal);
    return found == std::string_view::npos ? std::nullopt : std::optional(found);
}

} // namespace

std::optional<int64_t> TraceFields::number(size_t index, int base) const {
    const std::string_view text = texts[index];
    int64_t value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
    return error == std::errc() && !text.empty() && end == text.data() + text.size() ? std::optional(value)
                                                                                     : std::nullopt;
}

TracePattern::TracePattern(std::string_view format) {
    std::string_view rest = withoutLineBreaks(format);
    for (size_t percent = 0; (percent = rest.find('%')) != std::string_view::npos;) {
        const size_t width = std::min(rest.find_first_not_of("-0", percent + 1), rest.size());
        const size_t conversion = rest.find_first_not_of(kDigits, width);
        size_t columns = 0;
        std::from_chars(rest.data() + width, rest.data() + conversion, columns);
        m_pieces.push_back({rest.substr(0, percent), rest[conversion], columns});
        rest.remove_prefix(conversion + 1);
    }
    m_pieces.push_back({rest, '\0', 0});
}

std::optional<TraceFields> TracePattern::match(std::string_view line) const {
    TraceFields fields;
    const Piece* before = nullptr;
    for (const Piece& piece : m_pieces) {
        if (before != nullptr) {
            const std::optional<size_t> length = lengthOf(line, *before, piece);
            if (!length) {
                return std::nullopt;
            }
            fields.texts[fields.count++] = line.substr(0, *length);
            line.remove_prefix(*length);
        }
        if (!line.starts_with(piece.literal)) {
            return std::nullopt;
        }
        line.remove_prefix(piece.literal.size());
        before = &piece;
    }
    return fields;
}

// Of what stands for the conversion in front of the next piece; nothing where it does not fit.
std::optional<size_t> TracePattern::lengthOf(std::string_view text, const Piece& converted,
                                             const Piece& next) {
    const bool last = next.conversion == '\0';
    if (converted.conversion == 's') {
        return textLength(text, next.literal, last);
    }
    const size_t length = numberLength(text, converted.conversion);
    if (length == 0) {
        return std::nullopt;
    }
    return next.literal.empty() && !last ? std::min(length, converted.width) : length;
}

} // namespace volad_dev

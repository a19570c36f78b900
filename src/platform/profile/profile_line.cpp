#include "platform/profile/profile_line.h"

#include <algorithm>

#include "base/ascii.h"

namespace em {
namespace {

std::string_view withoutLeadingBlanks(std::string_view text) {
    while (!text.empty() && isAsciiBlank(text.front())) {
        text.remove_prefix(1);
    }
    return text;
}

std::string_view withoutTrailingBlanks(std::string_view text) {
    while (!text.empty() && isAsciiBlank(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

} // namespace

// By the section's length, not by the next "]": a name may hold one.
bool ProfileLine::isHeaderOf(std::string_view section) const {
    return !text.empty() && text[0] == '[' && text.substr(1, section.size()) == section &&
           text.size() > section.size() + 1 && text[section.size() + 1] == ']';
}

std::optional<std::string_view> ProfileLine::headerName() const {
    const size_t close = text.find(']');
    if (text.empty() || text[0] != '[' || close == std::string_view::npos) {
        return {};
    }
    return text.substr(1, close - 1);
}

std::optional<std::string_view> ProfileLine::key() const {
    const size_t equals = text.find('=');
    if (equals == std::string_view::npos) {
        return {};
    }
    return withoutTrailingBlanks(text.substr(0, equals));
}

std::string_view ProfileLine::value() const {
    const size_t equals = text.find('=');
    return equals == std::string_view::npos
               ? std::string_view()
               : withoutTrailingBlanks(withoutLeadingBlanks(text.substr(equals + 1)));
}

ProfileLine ProfileLine::withoutComment() const {
    return {from, to, text.substr(0, text.find(';'))};
}

// What is longer than a line may be is cut, not refused, and a NUL ends it: as a reader with a fixed buffer
// sees it.
bool ProfileLines::next(ProfileLine& line) {
    if (m_at >= m_content.size()) {
        return false;
    }
    const size_t end = std::min(m_content.find('\n', m_at), m_content.size());
    std::string_view text = m_content.substr(m_at, std::min(end - m_at, kLongestProfileLine));
    text = text.substr(0, text.find('\0'));
    line = {m_at, std::min(end + 1, m_content.size()), withoutLeadingBlanks(text)};
    m_at = line.to;
    return true;
}

} // namespace em

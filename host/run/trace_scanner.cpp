#include "host/run/trace_scanner.h"

#include <algorithm>
#include <optional>

namespace volad_dev {
namespace {

constexpr size_t kNone = std::string_view::npos;

// By one of its bytes, one that is rare in front of it: where that is not, the search goes as fast as memory
// is read.
size_t positionOf(std::string_view text, std::string_view wanted, size_t rareByte, size_t from) {
    for (size_t at = from + rareByte; (at = text.find(wanted[rareByte], at)) != kNone; ++at) {
        if (text.substr(at - rareByte).starts_with(wanted)) {
            return at - rareByte;
        }
    }
    return kNone;
}

// The colon at the end of a tag's columns. Where a line ends, the next tag's is all of its columns away.
size_t nextColon(std::string_view text, size_t from) {
    constexpr size_t kBefore = kTagEnd.size() - 1;
    const bool atLineEnd = from < text.size() && isLineEnd(text[from]);
    const size_t found = positionOf(text, kTagEnd, kBefore, from + (atLineEnd ? kTagColumns - kBefore : 0));
    return found == kNone ? kNone : found + kBefore;
}

size_t nextUntagged(std::string_view text, size_t from) {
    return positionOf(text, kUntagged, 0, from);
}

} // namespace

void TraceScanner::take(std::string_view bytes) {
    bytes = completeLine(bytes);
    if (bytes.empty()) {
        return;
    }
    const size_t least = bytes.size() - std::min(bytes.size(), kLongestLine);
    const size_t end = least + behindLastLineEnd(bytes.substr(least));
    if (end == least && least > 0) { // a line that is too long
        scan(bytes);
        m_skipping = true;
        return;
    }
    scan(bytes.substr(0, end));
    m_rest = bytes.substr(end);
}

// Ends what is left over from before; gives what is behind.
std::string_view TraceScanner::completeLine(std::string_view bytes) {
    if (!m_skipping && m_rest.empty()) {
        return bytes;
    }
    const size_t end = firstLineEnd(bytes);
    if (!m_skipping) {
        m_rest.append(bytes.substr(0, std::min(end, kLongestLine - m_rest.size())));
    }
    if (end < bytes.size() || m_rest.size() == kLongestLine) {
        scan(m_rest);
        m_rest.clear();
        m_skipping = end == bytes.size();
    }
    return bytes.substr(end);
}

void TraceScanner::finish() {
    scan(m_rest);
    m_rest.clear();
}

void TraceScanner::scan(std::string_view text) const {
    const LineEnds lines(text);
    size_t colon = nextColon(text, 0);
    size_t untagged = nextUntagged(text, 0);
    while (colon != kNone || untagged != kNone) {
        const size_t next = colon < untagged ? readTagged(lines, colon) : readLine(lines, untagged, false);
        colon = colon < next ? nextColon(text, next) : colon;
        untagged = untagged < next ? nextUntagged(text, next) : untagged;
    }
}

// Gives where to search on: behind this colon in any case, since the line may end in front of it.
size_t TraceScanner::readTagged(const LineEnds& lines, size_t colon) const {
    const bool ours = colon >= kTagColumns && beginsWithTag(lines.text().substr(colon - kTagColumns));
    return std::max(colon + 1, ours ? readLine(lines, colon - kTagColumns, true) : 0);
}

size_t TraceScanner::readLine(const LineEnds& lines, size_t begin, bool tagged) const {
    const size_t end = lines.nextFrom(begin);
    const size_t least = begin - std::min(begin, kLongestPrefix + 1);
    const size_t start = lines.behindLast(least, begin);
    if (begin - start > kLongestPrefix) {
        return end;
    }
    const std::string_view text = lines.text().substr(begin, std::min(end, start + kLongestLine) - begin);
    if (std::optional<TraceLine> line = findTraceLine(text, tagged)) {
        line->prefix = lines.text().substr(start, begin - start);
        m_sink(*line);
    }
    return end;
}

} // namespace volad_dev

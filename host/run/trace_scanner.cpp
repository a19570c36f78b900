#include "host/run/trace_scanner.h"

#include <algorithm>
#include <optional>

namespace volad_dev {
namespace {

constexpr size_t kNone = std::string_view::npos;

// By one of its bytes, the one at rareAt, which is rare elsewhere: where it does not occur, the search goes
// as fast as memory is read.
size_t positionOf(std::string_view text, std::string_view wanted, size_t rareAt, size_t from) {
    for (size_t at = from + rareAt; (at = text.find(wanted[rareAt], at)) != kNone; ++at) {
        if (text.substr(at - rareAt).starts_with(wanted)) {
            return at - rareAt;
        }
    }
    return kNone;
}

// The colon at the end of a tag's columns. No tag holds a line end: where a line ends, the next tag's colon
// is all of its columns away.
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

void TraceScanner::scan(std::string_view text) {
    const LineEnds lines(text);
    size_t colon = nextColon(text, 0);
    size_t untagged = nextUntagged(text, 0);
    while (colon != kNone || untagged != kNone) {
        const size_t next = colon < untagged ? readTagged(lines, colon) : readLine(lines, untagged, false);
        colon = colon < next ? nextColon(text, next) : colon;
        untagged = untagged < next ? nextUntagged(text, next) : untagged;
    }
    if (m_structureFrom) { // it may come with the next bytes
        const bool toCome = std::all_of(text.begin() + *m_structureFrom, text.end(), isLineEnd);
        m_structureFrom = toCome ? std::optional<size_t>(0) : std::nullopt;
    }
}

// What stands in a message's data is the sender's: no line of the module's, whatever it looks like. An
// object, or a list of objects, behind whatever prefix; where a host has left the data out, the line is
// another.
bool TraceScanner::isStructure(std::string_view text, size_t start, size_t begin) const {
    const std::string_view front = text.substr(start, begin - start);
    return m_structureFrom && *m_structureFrom <= start &&
           std::all_of(text.begin() + *m_structureFrom, text.begin() + start, isLineEnd) &&
           (front.find("{\"") != kNone || front.find("[{") != kNone);
}

// Gives where to search on: behind this colon in any case, since the line may end in front of it.
size_t TraceScanner::readTagged(const LineEnds& lines, size_t colon) {
    const bool ours = colon >= kTagColumns && beginsWithTag(lines.text().substr(colon - kTagColumns));
    return std::max(colon + 1, ours ? readLine(lines, colon - kTagColumns, true) : 0);
}

size_t TraceScanner::readLine(const LineEnds& lines, size_t begin, bool tagged) {
    const size_t end = lines.nextFrom(begin);
    const size_t least = begin - std::min(begin, kLongestPrefix + 1);
    const size_t start = lines.behindLast(least, begin);
    if (begin - start > kLongestPrefix || isStructure(lines.text(), start, begin)) {
        return end;
    }
    const std::string_view text = lines.text().substr(begin, std::min(end, start + kLongestLine) - begin);
    if (std::optional<TraceLine> line = findTraceLine(text, tagged)) {
        line->prefix = lines.text().substr(start, begin - start);
        m_structureFrom = line->kind->message.structureFollows ? std::optional(end) : std::nullopt;
        m_sink(*line);
    }
    return end;
}

} // namespace volad_dev

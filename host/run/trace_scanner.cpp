#include "host/run/trace_scanner.h"

#include <algorithm>
#include <cstring>

namespace volad_dev {
namespace {

constexpr size_t kNone = std::string_view::npos;

size_t positionOf(std::string_view text, std::string_view wanted, size_t from) {
    if (from > text.size()) {
        return kNone;
    }
    const void* const found = memmem(text.data() + from, text.size() - from, wanted.data(), wanted.size());
    return found == nullptr ? kNone : static_cast<size_t>(static_cast<const char*>(found) - text.data());
}

// NULs end a line, too: a file system may leave them where the machine went down.
bool isLineEnd(char byte) {
    return byte == '\n' || byte == '\r' || byte == '\0';
}

size_t lineEnd(std::string_view text, size_t from) {
    const size_t newline = std::min(text.find('\n', from), text.size());
    const std::string_view line = text.substr(from, newline - from);
    return from + std::min({line.find('\r'), line.find('\0'), line.size()});
}

size_t behindLastLineEnd(std::string_view text, size_t least) {
    size_t end = text.size();
    while (end > least && !isLineEnd(text[end - 1])) {
        --end;
    }
    return end;
}

} // namespace

void TraceScanner::take(std::string_view bytes) {
    bytes = completeLine(bytes);
    if (bytes.empty()) {
        return;
    }
    const size_t least = bytes.size() - std::min(bytes.size(), kLongestLine);
    const size_t end = behindLastLineEnd(bytes, least);
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
    const size_t end = lineEnd(bytes, 0);
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

void TraceScanner::scan(std::string_view lines) {
    size_t tagEnd = positionOf(lines, kTagEnd, 0);
    size_t untagged = positionOf(lines, kUntagged, 0);
    while (tagEnd != kNone || untagged != kNone) {
        const bool tagged = tagEnd < untagged;
        const size_t next =
            tagged ? readTagged(lines, tagEnd + kTagEnd.size() - 1) : readLine(lines, untagged, false);
        tagEnd = tagEnd < next ? positionOf(lines, kTagEnd, next) : tagEnd;
        untagged = untagged < next ? positionOf(lines, kUntagged, next) : untagged;
    }
    if (m_structureFrom) { // it may come with the next bytes
        const bool toCome = std::all_of(lines.begin() + *m_structureFrom, lines.end(), isLineEnd);
        m_structureFrom = toCome ? std::optional<size_t>(0) : std::nullopt;
    }
}

// What stands in a message's data is the sender's: no line of the module's, whatever it looks like. An
// object, or a list of objects, behind whatever prefix; where a host has left the data out, the line is
// another.
bool TraceScanner::isStructure(std::string_view lines, size_t start, size_t begin) const {
    const std::string_view front = lines.substr(start, begin - start);
    return m_structureFrom && *m_structureFrom <= start &&
           std::all_of(lines.begin() + *m_structureFrom, lines.begin() + start, isLineEnd) &&
           (front.find("{\"") != kNone || front.find("[{") != kNone);
}

// Gives where to search on: behind this colon in any case, since the line may end in front of it.
size_t TraceScanner::readTagged(std::string_view lines, size_t colon) {
    const bool ours = colon >= kTagColumns && beginsWithTag(lines.substr(colon - kTagColumns));
    return std::max(colon + 1, ours ? readLine(lines, colon - kTagColumns, true) : 0);
}

size_t TraceScanner::readLine(std::string_view lines, size_t begin, bool tagged) {
    const size_t end = lineEnd(lines, begin);
    const size_t least = begin - std::min(begin, kLongestPrefix + 1);
    const size_t start = behindLastLineEnd(lines.substr(0, begin), least);
    if (begin - start > kLongestPrefix || isStructure(lines, start, begin)) {
        return end;
    }
    const std::string_view text = lines.substr(begin, std::min(end, start + kLongestLine) - begin);
    TraceLine line;
    line.kind = findTraceLine(text, tagged, line.fields);
    if (line.kind != nullptr) {
        line.prefix = lines.substr(start, begin - start);
        m_structureFrom = line.kind->message.structureFollows ? std::optional(end) : std::nullopt;
        m_sink(line);
    }
    return end;
}

} // namespace volad_dev

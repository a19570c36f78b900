#include "platform/profile/profile_edit.h"

#include "base/ascii.h"
#include "platform/profile/profile_line.h"

namespace em {
namespace {

bool isUsableKey(std::string_view key) {
    return !key.empty() && key.find_first_of("=;\r\n") == std::string_view::npos && key[0] != '[' &&
           !isAsciiBlank(key.front()) && !isAsciiBlank(key.back());
}

std::string header(const ProfileWrite& write) {
    return "[" + std::string(write.section) + "]";
}

std::string valueLine(const ProfileWrite& write) {
    return std::string(*write.key) + "=" + std::string(*write.value) + "\n";
}

// Where the walk through the lines stands.
struct Position {
    bool inside = false;    // the wanted section
    size_t header = 0;      // its header's offset
    unsigned linesSeen = 0; // in it, empty lines and comments not counted
};

// At the header behind the section.
std::optional<FileChange> changeAtNextHeader(const ProfileWrite& write, const Position& position, size_t at) {
    if (!write.key) {
        return FileChange{position.header, at, ""};
    }
    if (!write.value) {
        return {};
    }
    return FileChange{at, at, valueLine(write)};
}

// The first key of a section gets an empty line in front, and leaves one behind when it goes: odd, and kept,
// so that a file comes out to the byte as it always did.
FileChange replaceLine(const ProfileWrite& write, const Position& position, const ProfileLine& line) {
    const std::string emptyLine = position.linesSeen == 1 ? "\n" : "";
    return {line.from, line.to, emptyLine + (write.value ? valueLine(write) : "")};
}

std::optional<FileChange> changeAtEnd(const ProfileWrite& write, const Position& position,
                                      std::string_view content) {
    const size_t end = content.size();
    if (!write.key) {
        return position.inside ? std::optional(FileChange{position.header, end, ""}) : std::nullopt;
    }
    if (!write.value) {
        return {};
    }
    // A last line without its end would swallow what is appended.
    const std::string lineEnd = content.empty() || content.back() == '\n' ? "" : "\n";
    const std::string block = position.inside ? "" : "\n" + header(write) + "\n\n";
    return FileChange{end, end, lineEnd + block + valueLine(write)};
}

} // namespace

// What a reader would not find again is not written: it would be lost without a word.
bool readsBack(const ProfileWrite& write) {
    if (!write.key || !write.value) {
        return true;
    }
    return isUsableKey(*write.key) && write.section.find_first_of("];\r\n") == std::string_view::npos &&
           write.value->find_first_of("\r\n") == std::string_view::npos &&
           header(write).size() <= kLongestProfileLine && valueLine(write).size() - 1 <= kLongestProfileLine;
}

std::optional<FileChange> editProfile(std::string_view content, const ProfileWrite& write) {
    Position position;
    ProfileLines lines(content);
    for (ProfileLine line; lines.next(line);) {
        if (line.skipped()) {
            continue;
        }
        if (line.headerName()) {
            if (position.inside) {
                return changeAtNextHeader(write, position, line.from);
            }
            position = {line.isHeaderOf(write.section), line.from, 0};
        } else if (position.inside) {
            ++position.linesSeen;
            if (write.key && line.key() == write.key) {
                return replaceLine(write, position, line);
            }
        }
    }
    return changeAtEnd(write, position, content);
}

} // namespace em

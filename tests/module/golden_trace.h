// A scenario of the module, written down as a data file, against what was recorded.
//
// A file has one section a thread ("[host]", "[handler]", "[worker]", "[watcher]", "[hard]"), since the
// threads' lines may interleave in any way, and "[commands]" for what the command recorder saw. In a section
// each line is one record in its order:
//
//   <level> <text>    a trace line, written when the trace's level is at least this one
//   P <text>          a line that is written at any level
//   > <text>          a call on the host: milliseconds and envelope, or the other slots by name
//
// "\n" stands for a newline, {x} for hexadecimal digits, {d} for a decimal number, {*} for anything. A "?"
// before the level marks a line that may be missing. "@name" includes another file, "#" starts a comment.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "rig/recording.h"

namespace em::test {

struct GoldenLine {
    char level; // '0' to '5', 'P' or '>'
    bool optional;
    std::string text;
};
using GoldenScenario = std::map<std::string, std::vector<GoldenLine>>;

// Whether a trace at that level holds the line.
bool isSeen(const GoldenLine& line, unsigned traceLevel);

// Throws std::runtime_error on a file that cannot be read or a line that is none of the above.
GoldenScenario loadGolden(const std::string& directory, const std::string& file);

// Where the records differ from the scenario at that trace level; empty when they do not.
std::string differences(const GoldenScenario& scenario, const std::vector<Record>& records,
                        const std::vector<std::string>& commands, unsigned traceLevel);

bool matches(std::string_view pattern, std::string_view text);

} // namespace em::test

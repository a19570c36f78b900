// The tool's standard streams: what is printed arrives, or is told to be lost.
#pragma once

#include <cstddef>
#include <string_view>

namespace volad_dev {

// Descriptors 0 to 2 that the caller closed become ones that fail alike, so that no file which is opened
// later gets their number and with it what is printed.
void occupyStandardDescriptors();

// For commands that start no other program, which would inherit it: a pipe that nobody reads any more then is
// a write error like others.
void ignoreBrokenPipes();

// Of the terminal that standard output is; 80 where it is none, or one that does not tell.
[[nodiscard]] size_t standardOutputColumns();

// Bytes as they are. Throws std::system_error, as fmt::print does.
void printWhole(std::string_view text);

// For work that goes on whatever becomes of what it prints: written out at once, and an error is kept for
// flushStandardOutput.
void printAtOnce(std::string_view text);

// Writes out what was printed. False when any of it was lost, also before; `earlier` is that loss's error
// then, if it is known. Tells it in a line on standard error, but for a reader that went away: it wanted no
// more.
[[nodiscard]] bool flushStandardOutput(int earlier = 0);

} // namespace volad_dev

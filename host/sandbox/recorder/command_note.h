// How a command was called, for whoever reads the record: name, arguments, what it found open and blocked.
#pragma once

namespace volad_dev {

// One JSON line, appended in one write, so that whoever watches the file sees whole lines. The first act of
// a program: what is open later is its own. False when it could not be written.
[[nodiscard]] bool noteCommand(int argc, char** argv);

} // namespace volad_dev

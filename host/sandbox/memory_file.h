// Files without a name and pipes: what the launcher hands to bubblewrap and hears of it.
#pragma once

#include <string>

#include "base/unique_fd.h"

namespace volad_dev {

struct Pipe {
    em::UniqueFd readEnd, writeEnd;
};

// Throw std::system_error. The file is read from its begin.
[[nodiscard]] em::UniqueFd fileInMemory(const std::string& content);
[[nodiscard]] Pipe makePipe();

// What the pipe holds now; nobody writes any more, though an inherited end may still be open.
[[nodiscard]] std::string drain(int fd);

} // namespace volad_dev

// Where a path really leads: found once, so that nobody who may rename what lies on the way can lead a later
// step elsewhere.
#pragma once

#include <string>

#include "base/unique_fd.h"

namespace em {

// An open directory and a name in it, behind every symbolic link of the path. The file need not be there.
struct FilePlace {
    UniqueFd directory; // for openat and its kin only
    std::string name;
};

// Returns 0 or the error number: ELOOP above 40 links; EPERM for a process of root at a link that another
// user owns, since that user chooses where it leads. Throws only for want of memory.
[[nodiscard]] int findFilePlace(const char* path, FilePlace& place);

} // namespace em

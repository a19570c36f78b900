// What a job left behind in its scratch directory.
#pragma once

#include <ctime>
#include <string>
#include <vector>

#include "host/run/run.h"

namespace volad_dev {

struct LeftFiles {
    std::vector<LeftFile> files;
    bool complete = true; // nothing was passed over
};

// Regular files that were made or changed since then, by name; not what the tool itself put there. Nothing
// that a job can leave makes it hang or fail: links are not followed, pipes not opened, what cannot be read
// is passed over, and the search ends after a bounded number of entries.
[[nodiscard]] LeftFiles filesLeft(const std::string& directory, const timespec& since);

} // namespace volad_dev

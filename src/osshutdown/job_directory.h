// Where the job runs, which is no more than a matter of its two texts.
#pragma once

#include <optional>
#include <string>

namespace em {

// The directory that was given, else the job's own: its whole text up to the last "/", arguments included,
// and a fixed place for a job in the root directory. Nothing when the current directory is kept. A null
// directory is none.
[[nodiscard]] std::optional<std::string> jobDirectory(const char* job, const char* directory);

} // namespace em

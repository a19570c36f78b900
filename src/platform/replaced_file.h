// Gives a file new content in one step, so that a reader sees the old or the new, never half of it.
#pragma once

#include <string_view>

namespace em {

enum class Replaced {
    Written,
    NotOpened,  // with the reason in errno; nothing changed
    NotWritten, // a short write or a failing close
};

// Opens, creates and fails as fopen's "w+" does, keeps the file's owner and mode, and does not flush to the
// disk. What cannot be replaced beside its name (a link, a device, a directory that takes no new file) is
// truncated and written in place instead. Any thread.
[[nodiscard]] Replaced ReplaceFile(const char* path, std::string_view content);

} // namespace em

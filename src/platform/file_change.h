// Gives a regular file new content so that a failure, or a kill at any time, leaves the old content or the
// new. Callers serialise the changes to a file. May throw bad_alloc, before anything was changed.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "platform/base/file_content.h"

namespace em {

// The bytes [from, to) give way to the text.
struct FileChange {
    size_t from;
    size_t to;
    std::string text;
};

struct FileChangeResult {
    int error = 0;          // an error number; 0 when the file has the new content
    bool notOpened = false; // the error is that of opening the new file
};

// Makes a new file with exactly these permissions. The name may be a symbolic link to where it is to be.
[[nodiscard]] FileChangeResult CreateFile(const char* path, std::string_view content, mode_t mode);

// Changes the file at the path, open for writing as fd, whose content and status are `old`. A new file with
// the same owner and permissions takes its place; a symbolic link stays. Where that cannot be done (directory
// not writable, owner not to be given, several hard links, a mount point), the bytes behind `from` are
// written in place after the space for them has been reserved: a kill meanwhile then leaves a mix, a failure
// does not.
[[nodiscard]] FileChangeResult ChangeFile(const char* path, int fd, const FileContent& old,
                                          const FileChange& change);

// Makes the file that a stream opened with "w+" makes, or replaces what is there as ChangeFile does; in
// place, only a failure then leaves it empty. What is no regular file takes the content as it comes.
[[nodiscard]] FileChangeResult ReplaceFile(const char* path, std::string_view content);

} // namespace em

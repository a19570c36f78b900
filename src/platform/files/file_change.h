// Gives a regular file new content so that a failure, or a kill at any time, leaves the old content or the
// new, and so that two writers of ours at once lose nothing.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/file_content.h"

namespace em {

// The bytes [from, to) give way to the text.
struct FileChange {
    size_t from;
    size_t to;
    std::string text;
};

// Which step of a change failed.
enum class FileStep { None /* was reached */, Find, Open, Read, Create, Write, TakePlace };
[[nodiscard]] const char* nameOf(FileStep step); // "open the file"

struct FileChangeResult {
    int error = 0; // an error number; 0 when the file is as asked
    FileStep step = FileStep::None;
    [[nodiscard]] bool done() const { return error == 0; }
    // Nothing could be opened for writing.
    [[nodiscard]] bool notOpened() const {
        return step == FileStep::Find || step == FileStep::Open || step == FileStep::Create;
    }
};

// What a file's content is to become; nothing when it stays. `content` is nothing where there is no file.
// Asked again when another writer was faster.
using FileEdit = std::function<std::optional<FileChange>(std::optional<std::string_view> content)>;

struct FileModes {
    mode_t fresh;             // of a file that is made
    mode_t widest = ALLPERMS; // of one that is replaced: its own, but no more than this
    bool lessTheMask = false; // the process's mask lessens `fresh`
};

// Changes the file at the path, or makes it. The path is resolved once and every step then goes through the
// directory that it led to (see FindFilePlace). A new file with the owner and mode of the old one, written
// under a name that nobody else has, takes its place. Where that cannot be done (directory not writable,
// owner not to be given, several hard links, a mount point) or would lose something (an access list), the
// bytes behind `from` are written in place, after the space for them has been reserved: a kill meanwhile then
// leaves a mix, and a failure only where what was written cannot be undone either.
//
// The file that is about to change is locked, for 2 seconds at most: whoever may read it can hold the lock,
// and must not keep a writer out. EFBIG above `largest` bytes, ENOTSUP for what is no regular file. Throws
// what the edit throws and bad_alloc, before anything was changed. Cannot be cancelled.
[[nodiscard]] FileChangeResult editFile(const char* path, size_t largest, const FileModes& modes,
                                        const FileEdit& edit);

// The same with the whole content given; in place, a failure may leave the file empty, as a stream opened
// with "w+" does. What is no regular file takes the content as it comes.
[[nodiscard]] FileChangeResult replaceFileContent(const char* path, const FileModes& modes,
                                                  std::string_view content);

} // namespace em

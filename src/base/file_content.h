// A whole regular file in memory. Never blocks on a FIFO or a device, never throws.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdlib>
#include <memory>

namespace em {

struct FreeDeleter {
    void operator()(void* memory) const { std::free(memory); }
};

struct FileContent {
    std::unique_ptr<char, FreeDeleter> data; // size bytes and at least `padding` zero bytes behind them
    size_t size = 0;
    struct stat status = {}; // of the file as it was opened
};

// Reads a regular file of at most `largest` bytes. Returns 0 or an error number: of open, fstat or read;
// EFBIG above the size; ENOTSUP for what is no regular file; ENOMEM; ENODATA when the file shrank meanwhile.
[[nodiscard]] int readRegularFile(const char* path, size_t largest, size_t padding, FileContent& content);
// The same for a file that was just opened, from its start.
[[nodiscard]] int readRegularFile(int fd, size_t largest, size_t padding, FileContent& content);

// The next `size` bytes of the file. Returns 0, the error of read, or ENODATA when it ends before: its reader
// must not take half a text for the whole.
[[nodiscard]] int readExactly(int fd, char* buffer, size_t size);

} // namespace em

// The lines of a profile file as reading sees them, taken from the file block by block: what stands behind
// the wanted line is never read.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "base/file_content.h"
#include "base/unique_fd.h"

namespace em {

// Never blocks on a FIFO or a device, never throws. Used by one thread.
class ProfileScan {
public:
    explicit ProfileScan(const char* file);

    // Why nothing more can be read: an error number as of readRegularFile, 0 for none. Half a file is not
    // taken for the whole: after the end, whoever found nothing looks here.
    [[nodiscard]] int error() const { return m_error; }

    // The next line's first 1,023 characters, without leading blanks and without its end. Valid until the
    // next call. False at the end and after an error.
    [[nodiscard]] bool next(std::string_view& line);

private:
    [[nodiscard]] int open(const char* file);
    // Reads on behind what was not handed out yet. False at the end and after an error.
    [[nodiscard]] bool refill();
    [[nodiscard]] bool nextAcrossBlocks(std::string_view& line);

    UniqueFd m_file;
    bool m_begun = false;
    bool m_behindCut = false; // in what is behind a line's 1,023 characters
    size_t m_unread = 0;      // bytes of the file, of which the size counts that it had when it was opened
    std::unique_ptr<char, FreeDeleter> m_buffer;
    size_t m_at = 0; // what of the buffer was handed out
    size_t m_filled = 0;
    int m_error; // last: opening sets the others
};

} // namespace em

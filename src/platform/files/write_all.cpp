#include "platform/files/write_all.h"

#include <cerrno>

namespace em {
namespace {

// Takes what was written off the text's start. Returns 0 or the error number.
int account(ssize_t written, std::string_view& text) {
    if (written < 0) {
        return errno == EINTR ? 0 : errno;
    }
    if (written == 0) {
        return EIO; // never for a regular file; a loop must end all the same
    }
    text.remove_prefix(static_cast<size_t>(written));
    return 0;
}

} // namespace

int writeAll(int fd, std::string_view text) {
    int error = 0;
    while (error == 0 && !text.empty()) {
        error = account(sys::write(fd, text.data(), text.size()), text);
    }
    return error;
}

// By position, so that the descriptor's own offset, which a reader may share, stays.
int writeAllAt(int fd, std::string_view text, off_t at) {
    int error = 0;
    while (error == 0 && !text.empty()) {
        const size_t before = text.size();
        error = account(sys::pwrite(fd, text.data(), text.size(), at), text);
        at += static_cast<off_t>(before - text.size());
    }
    return error;
}

} // namespace em

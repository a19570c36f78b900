#include "base/file_content.h"

#include "base/system.h"
#include "base/unique_fd.h"

namespace em {

int readExactly(int fd, char* buffer, size_t size) {
    for (size_t done = 0; done < size;) {
        const ssize_t count = sys::read(fd, buffer + done, size - done);
        if (count == 0) {
            return ENODATA;
        }
        if (count < 0 && errno != EINTR) {
            return errno;
        }
        done += count < 0 ? 0 : static_cast<size_t>(count);
    }
    return 0;
}

int readRegularFile(const char* path, size_t largest, size_t padding, FileContent& content) {
    // Not blocking, so that a FIFO in the file's place is refused below instead of waited for.
    const UniqueFd file(sys::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    return file.valid() ? readRegularFile(file.get(), largest, padding, content) : errno;
}

int readRegularFile(int fd, size_t largest, size_t padding, FileContent& content) {
    if (sys::fstat(fd, &content.status) != 0) {
        return errno;
    }
    if (!S_ISREG(content.status.st_mode)) {
        return ENOTSUP;
    }
    content.size = static_cast<size_t>(content.status.st_size);
    if (content.size > largest) {
        return EFBIG;
    }
    // Zeroed, so that the padding ends the text for who searches it as a C string.
    content.data.reset(static_cast<char*>(sys::calloc(1, content.size + padding)));
    return content.data == nullptr ? ENOMEM : readExactly(fd, content.data.get(), content.size);
}

} // namespace em

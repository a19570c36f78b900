#include "host/sandbox/memory_file.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace volad_dev {
namespace {

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

em::UniqueFd fileInMemory(const std::string& content) {
    em::UniqueFd file(memfd_create("volad-dev", MFD_CLOEXEC));
    for (size_t done = 0; file.valid() && done < content.size();) {
        const ssize_t count = write(file.get(), content.data() + done, content.size() - done);
        if (count < 0) {
            fail("write");
        }
        done += static_cast<size_t>(count);
    }
    if (!file.valid() || lseek(file.get(), 0, SEEK_SET) != 0) {
        fail("memfd_create");
    }
    return file;
}

} // namespace volad_dev

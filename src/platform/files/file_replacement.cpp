#include "platform/files/file_replacement.h"

#include <array>
#include <climits>
#include <cstdio>

#include "platform/files/write_all.h"

namespace em {
namespace {

constexpr int kMostNames = 1000;

// ".NAME.PID-N.new": two writers never share one, and a reader of the directory sees what it is.
std::string temporaryName(const std::string& name, int number) {
    std::array<char, 48> suffix;
    const int length = std::snprintf(suffix.data(), suffix.size(), ".%d-%d.new", sys::getpid(), number);
    return "." + name.substr(0, NAME_MAX - 1 - static_cast<size_t>(length)) + suffix.data();
}

} // namespace

FileReplacement::~FileReplacement() {
    if (m_file.valid()) {
        static_cast<void>(
            sys::unlinkat(m_place.directory.get(), m_name.c_str(), 0)); // a left-over does no harm
    }
}

int FileReplacement::create(mode_t mode) {
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    for (int number = 1; number <= kMostNames; ++number) {
        m_name = temporaryName(m_place.name, number);
        m_file.reset(sys::openat(m_place.directory.get(), m_name.c_str(), kFlags, mode));
        if (m_file.valid() || errno != EEXIST) {
            break;
        }
    }
    return m_file.valid() ? 0 : errno;
}

int FileReplacement::setOwner(uid_t user, gid_t group) {
    return sys::fchown(m_file.get(), user, group) == 0 ? 0 : errno;
}

int FileReplacement::setMode(mode_t mode) {
    return sys::fchmod(m_file.get(), mode) == 0 ? 0 : errno;
}

int FileReplacement::write(std::string_view text) {
    return writeAll(m_file.get(), text);
}

int FileReplacement::takePlace() {
    return rename(0);
}

int FileReplacement::takeEmptyPlace() {
    const int error = rename(RENAME_NOREPLACE);
    // A file system that cannot tell: the writers' race for a first file is lost to it, not the write.
    return error == EINVAL || error == ENOSYS ? rename(0) : error;
}

int FileReplacement::rename(unsigned flags) {
    const int directory = m_place.directory.get();
    // Synced before the rename: after a loss of power the name must not lead to an empty file.
    if (sys::fsync(m_file.get()) != 0 ||
        sys::renameat2(directory, m_name.c_str(), directory, m_place.name.c_str(), flags) != 0) {
        return errno;
    }
    m_file.reset();
    return 0;
}

} // namespace em

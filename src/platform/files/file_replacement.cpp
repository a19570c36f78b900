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
    if (m_File.valid()) {
        static_cast<void>(
            sys::unlinkat(m_Place.directory.get(), m_strName.c_str(), 0)); // a left-over does no harm
    }
}

int FileReplacement::Create(mode_t mode) {
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    for (int number = 1; number <= kMostNames; ++number) {
        m_strName = temporaryName(m_Place.name, number);
        m_File.reset(sys::openat(m_Place.directory.get(), m_strName.c_str(), kFlags, mode));
        if (m_File.valid() || errno != EEXIST) {
            break;
        }
    }
    return m_File.valid() ? 0 : errno;
}

int FileReplacement::SetOwner(uid_t user, gid_t group) {
    return sys::fchown(m_File.get(), user, group) == 0 ? 0 : errno;
}

int FileReplacement::SetMode(mode_t mode) {
    return sys::fchmod(m_File.get(), mode) == 0 ? 0 : errno;
}

int FileReplacement::Write(std::string_view text) {
    return writeAll(m_File.get(), text);
}

int FileReplacement::TakePlace() {
    return Rename(0);
}

int FileReplacement::TakeEmptyPlace() {
    const int error = Rename(RENAME_NOREPLACE);
    // A file system that cannot tell: the writers' race for a first file is lost to it, not the write.
    return error == EINVAL || error == ENOSYS ? Rename(0) : error;
}

int FileReplacement::Rename(unsigned flags) {
    const int directory = m_Place.directory.get();
    // Synced before the rename: after a loss of power the name must not lead to an empty file.
    if (sys::fsync(m_File.get()) != 0 ||
        sys::renameat2(directory, m_strName.c_str(), directory, m_Place.name.c_str(), flags) != 0) {
        return errno;
    }
    m_File.reset();
    return 0;
}

} // namespace em

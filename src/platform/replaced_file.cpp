#include "platform/replaced_file.h"

#include <cerrno>
#include <string>

#include "platform/base/unique_fd.h"

namespace em {
namespace {

constexpr mode_t kNewFileMode = 0666; // less the process's mask, as for any file that a stream creates

bool writeAndClose(UniqueFd file, std::string_view content) {
    const ssize_t written = sys::write(file.get(), content.data(), content.size());
    return file.closeChecked() && written == static_cast<ssize_t>(content.size());
}

Replaced writeInPlace(const char* path, std::string_view content) {
    UniqueFd file(sys::open(path, O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, kNewFileMode));
    if (!file.valid()) {
        return Replaced::NotOpened;
    }
    return writeAndClose(std::move(file), content) ? Replaced::Written : Replaced::NotWritten;
}

// A new file beside the one to be replaced; taken away again unless it took that one's place.
class FileBeside {
public:
    explicit FileBeside(const char* path)
        : m_strPath(std::string(path) + "." + std::to_string(::gettid())), // one name for each thread
          m_File(sys::open(m_strPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kNewFileMode)),
          m_bLeft(m_File.valid()) {}
    ~FileBeside() {
        if (m_bLeft) {
            const ErrnoKeeper keeper;
            static_cast<void>(sys::unlink(m_strPath.c_str()));
        }
    }
    FileBeside(const FileBeside&) = delete;
    FileBeside& operator=(const FileBeside&) = delete;

    [[nodiscard]] bool created() const { return m_bLeft; }
    [[nodiscard]] bool takeOwnerAndMode(const struct stat& other) const {
        struct stat mine = {};
        const bool sameOwner = sys::fstat(m_File.get(), &mine) == 0 && mine.st_uid == other.st_uid &&
                               mine.st_gid == other.st_gid;
        return (sameOwner || sys::fchown(m_File.get(), other.st_uid, other.st_gid) == 0) &&
               sys::fchmod(m_File.get(), other.st_mode & 07777) == 0;
    }
    [[nodiscard]] bool write(std::string_view content) { return writeAndClose(std::move(m_File), content); }
    [[nodiscard]] bool takePlaceOf(const char* path) {
        m_bLeft = sys::rename(m_strPath.c_str(), path) != 0;
        return !m_bLeft;
    }

private:
    const std::string m_strPath;
    UniqueFd m_File;
    bool m_bLeft;
};

enum class Present { None, Replaceable, InPlaceOnly };

// What stands at the path; a file counts as replaceable only if it could be opened for writing, too.
Present lookAt(const char* path, struct stat& status) {
    if (sys::lstat(path, &status) != 0) {
        return errno == ENOENT ? Present::None : Present::InPlaceOnly;
    }
    const bool plain = S_ISREG(status.st_mode) && status.st_nlink == 1;
    return plain && UniqueFd(sys::open(path, O_RDWR | O_CLOEXEC)).valid() ? Present::Replaceable
                                                                          : Present::InPlaceOnly;
}

} // namespace

Replaced ReplaceFile(const char* path, std::string_view content) {
    struct stat status = {};
    const Present present = lookAt(path, status);
    if (present == Present::InPlaceOnly) {
        return writeInPlace(path, content);
    }
    FileBeside fresh(path);
    if (!fresh.created() || (present == Present::Replaceable && !fresh.takeOwnerAndMode(status))) {
        return writeInPlace(path, content);
    }
    if (!fresh.write(content)) {
        return Replaced::NotWritten;
    }
    return fresh.takePlaceOf(path) ? Replaced::Written : writeInPlace(path, content);
}

} // namespace em

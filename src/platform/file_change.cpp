#include "platform/file_change.h"

#include <algorithm>
#include <array>
#include <climits>

#include "platform/base/unique_fd.h"
#include "platform/write_all.h"

namespace em {
namespace {

constexpr int kMostLinks = 40;                 // as many as the kernel follows
constexpr mode_t kPrivate = S_IRUSR | S_IWUSR; // until the file has its owner
constexpr mode_t kStreamMode = 0666;           // less the process's mask

// The path behind the symbolic links that its last component may be; the file itself need not be there.
std::string followLinks(std::string path) {
    std::array<char, PATH_MAX> target;
    for (int links = 0; links < kMostLinks; ++links) {
        const ssize_t size = sys::readlink(path.c_str(), target.data(), target.size());
        if (size <= 0) {
            break;
        }
        const std::string next(target.data(), static_cast<size_t>(size));
        if (next.front() == '/') {
            path = next;
        } else {
            path.resize(path.rfind('/') + 1);
            path += next;
        }
    }
    return path;
}

// A file beside the one whose place it takes; gone again unless it took it.
class Replacement {
public:
    explicit Replacement(const char* path) : m_strPath(followLinks(path)) {
        constexpr std::string_view kSuffix = ".new";
        const size_t name = m_strPath.rfind('/') + 1;
        m_strNew = m_strPath.substr(0, name) + ".";
        m_strNew += m_strPath.substr(name, NAME_MAX - 1 - kSuffix.size());
        m_strNew += kSuffix;
    }
    ~Replacement() {
        if (m_File.valid()) {
            static_cast<void>(sys::unlink(m_strNew.c_str())); // a left-over does no harm
        }
    }
    Replacement(const Replacement&) = delete;
    Replacement& operator=(const Replacement&) = delete;

    // One that a kill left over is taken away first. The process's mask lessens the mode. Returns 0 or the
    // error number, like the next ones.
    [[nodiscard]] int Create(mode_t mode) {
        constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
        static_cast<void>(sys::unlink(m_strNew.c_str())); // usually there is none
        m_File.reset(sys::open(m_strNew.c_str(), kFlags, mode));
        return m_File.valid() ? 0 : errno;
    }

    [[nodiscard]] int SetOwner(uid_t user, gid_t group) {
        return sys::fchown(m_File.get(), user, group) == 0 ? 0 : errno;
    }

    [[nodiscard]] int SetMode(mode_t mode) { return sys::fchmod(m_File.get(), mode) == 0 ? 0 : errno; }

    [[nodiscard]] int Write(std::string_view text) { return writeAll(m_File.get(), text); }

    [[nodiscard]] int TakePlace() {
        if (sys::fsync(m_File.get()) != 0 || sys::rename(m_strNew.c_str(), m_strPath.c_str()) != 0) {
            return errno;
        }
        m_File.reset();
        return 0;
    }

private:
    std::string m_strPath;
    std::string m_strNew;
    UniqueFd m_File;
};

FileChangeResult createAsStream(const char* path, std::string_view content) {
    Replacement replacement(path);
    if (const int error = replacement.Create(kStreamMode)) {
        return {error, true};
    }
    const int error = replacement.Write(content);
    return {error == 0 ? replacement.TakePlace() : error};
}

std::string_view contentOf(const FileContent& content) {
    return {content.data.get(), content.size};
}

FileChangeResult replace(const char* path, const FileContent& old, const FileChange& change) {
    Replacement replacement(path);
    if (const int error = replacement.Create(kPrivate)) {
        return {error, true};
    }
    const std::string_view content = contentOf(old);
    int error = replacement.SetOwner(old.status.st_uid, old.status.st_gid);
    if (error == 0) {
        error = replacement.SetMode(old.status.st_mode & ALLPERMS);
    }
    for (const std::string_view piece :
         {content.substr(0, change.from), std::string_view(change.text), content.substr(change.to)}) {
        if (error == 0) {
            error = replacement.Write(piece);
        }
    }
    return {error == 0 ? replacement.TakePlace() : error};
}

// Whether the error tells that no other file can take the file's place. EINVAL: an owner that has no number
// in this user namespace; EBUSY: a mount point.
bool isNoPlaceToTake(int error) {
    constexpr std::array kErrors{EACCES, EPERM, EROFS, EBUSY, EINVAL, ENAMETOOLONG};
    return std::find(kErrors.begin(), kErrors.end(), error) != kErrors.end();
}

int overwrite(int fd, size_t from, std::string_view tail) {
    if (const int error = writeAllAt(fd, tail, static_cast<off_t>(from))) {
        return error;
    }
    if (sys::ftruncate(fd, static_cast<off_t>(from + tail.size())) != 0 || sys::fsync(fd) != 0) {
        return errno;
    }
    return 0;
}

int changeInPlace(int fd, const FileContent& old, const FileChange& change) {
    const std::string_view content = contentOf(old);
    const std::string tail = change.text + std::string(content.substr(change.to));
    const size_t size = change.from + tail.size();
    int error = 0;
    if (size > content.size()) {
        error = sys::posix_fallocate(fd, static_cast<off_t>(content.size()),
                                     static_cast<off_t>(size - content.size()));
    }
    if (error == 0) {
        error = overwrite(fd, change.from, tail);
    }
    if (error != 0) {
        // The old bytes' space is still the file's own.
        static_cast<void>(overwrite(fd, change.from, content.substr(change.from)));
    }
    return error;
}

} // namespace

FileChangeResult CreateFile(const char* path, std::string_view content, mode_t mode) {
    Replacement replacement(path);
    if (const int error = replacement.Create(kPrivate)) {
        return {error, true};
    }
    int error = replacement.SetMode(mode);
    if (error == 0) {
        error = replacement.Write(content);
    }
    return {error == 0 ? replacement.TakePlace() : error};
}

FileChangeResult ChangeFile(const char* path, int fd, const FileContent& old, const FileChange& change) {
    if (old.status.st_nlink == 1) {
        const FileChangeResult result = replace(path, old, change);
        if (!isNoPlaceToTake(result.error)) {
            return result;
        }
    }
    return {changeInPlace(fd, old, change)};
}

FileChangeResult ReplaceFile(const char* path, std::string_view content) {
    const UniqueFd opened(sys::open(path, O_RDWR | O_CLOEXEC | O_NONBLOCK));
    if (!opened.valid()) {
        return errno == ENOENT ? createAsStream(path, content) : FileChangeResult{errno, true};
    }
    FileContent truncated;
    if (sys::fstat(opened.get(), &truncated.status) != 0) {
        return {errno, true};
    }
    if (!S_ISREG(truncated.status.st_mode)) {
        return {writeAll(opened.get(), content)};
    }
    return ChangeFile(path, opened.get(), truncated, {0, 0, std::string(content)});
}

} // namespace em

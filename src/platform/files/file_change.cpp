#include "platform/files/file_change.h"

#include <algorithm>
#include <array>

#include "base/cancellation_disabled.h"
#include "base/clock.h"
#include "platform/files/file_place.h"
#include "platform/files/file_replacement.h"
#include "platform/files/write_all.h"

namespace em {
namespace {

constexpr mode_t kPrivate = S_IRUSR | S_IWUSR; // until the file has its owner
constexpr uint64_t kLockLimitMs = 2000;        // for the lock of one file
constexpr uint64_t kAllLimitMs = 20'000;       // while other writers keep putting new files in its place
constexpr uint64_t kLockLookMs = 5;

constexpr std::array<const char*, 7> kStepNames = {"write it",
                                                   "find its directory",
                                                   "open the file",
                                                   "read the file",
                                                   "make a file beside it",
                                                   "write the file",
                                                   "put the new file in its place"};

std::string_view contentOf(const FileContent& content) {
    return {content.data.get(), content.size};
}

// Nothing tells when a lock becomes free and gives up in time, so it is looked at again and again.
void lockFor(int fd, const Deadline& deadline) {
    while (sys::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (errno != EINTR && (errno != EWOULDBLOCK || deadline.remainingMs() == 0)) {
            return; // done without
        }
        sleepMs(kLockLookMs);
    }
}

// 0 while the name still leads to that file, ESTALE once it leads to another or none. Any other error is no
// sign of another writer, and must not be tried again for as long as those may take.
int lookAgain(const FilePlace& place, const struct stat& file) {
    struct stat named = {};
    if (sys::fstatat(place.directory.get(), place.name.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0) {
        return errno == ENOENT ? ESTALE : errno;
    }
    return named.st_dev == file.st_dev && named.st_ino == file.st_ino ? 0 : ESTALE;
}

// Nothing: another turn is due.
std::optional<FileChangeResult> notThere(int error) {
    return error == ESTALE ? std::nullopt : std::optional(FileChangeResult{error, FileStep::Open});
}

// A new file would not have it, and nothing here could copy it whole.
bool hasAccessList(int fd) {
    return sys::fgetxattr(fd, "system.posix_acl_access", nullptr, 0) >= 0;
}

FileChangeResult failedAt(FileStep step, int error) {
    return error != 0 ? FileChangeResult{error, step} : FileChangeResult{};
}

FileChangeResult make(const FilePlace& place, const FileModes& modes, std::string_view content) {
    FileReplacement replacement(place);
    if (const int error = replacement.create(modes.lessTheMask ? modes.fresh : kPrivate)) {
        return {error, FileStep::Create};
    }
    int error = modes.lessTheMask ? 0 : replacement.setMode(modes.fresh);
    if (error == 0) {
        error = replacement.write(content);
    }
    return error != 0 ? FileChangeResult{error, FileStep::Write}
                      : failedAt(FileStep::TakePlace, replacement.takeEmptyPlace());
}

// Owner and mode before the content: nobody may read through the new file what the old one kept from him.
FileChangeResult replace(const FilePlace& place, const FileModes& modes, const FileContent& old,
                         const FileChange& change) {
    FileReplacement replacement(place);
    if (const int error = replacement.create(kPrivate)) {
        return {error, FileStep::Create};
    }
    const std::string_view content = contentOf(old);
    int error = replacement.setOwner(old.status.st_uid, old.status.st_gid);
    if (error == 0) {
        error = replacement.setMode(old.status.st_mode & modes.widest);
    }
    for (const std::string_view piece :
         {content.substr(0, change.from), std::string_view(change.text), content.substr(change.to)}) {
        if (error == 0) {
            error = replacement.write(piece);
        }
    }
    return error != 0 ? FileChangeResult{error, FileStep::Write}
                      : failedAt(FileStep::TakePlace, replacement.takePlace());
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

int changeInPlace(int fd, const FileModes& modes, const FileContent& old, const FileChange& change) {
    const std::string_view content = contentOf(old);
    const std::string tail = change.text + std::string(content.substr(change.to));
    const size_t size = change.from + tail.size();
    int error = 0;
    if ((old.status.st_mode & ALLPERMS & ~modes.widest) != 0) { // before the content that the mode is for
        error = sys::fchmod(fd, old.status.st_mode & modes.widest) == 0 ? 0 : errno;
    }
    if (error == 0 && size > content.size()) {
        // The room first: what fails from here on can be undone in the room that is there.
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

// A new file in its place, which no crash leaves half-written; written in place where that would lose what
// only this file has: further names, an access list, or a directory that takes no new file.
FileChangeResult change(const FilePlace& place, int fd, const FileModes& modes, const FileContent& old,
                        const FileChange& change) {
    if (old.status.st_nlink == 1 && !hasAccessList(fd)) {
        const FileChangeResult result = replace(place, modes, old, change);
        if (!isNoPlaceToTake(result.error)) {
            return result;
        }
    }
    return failedAt(FileStep::Write, changeInPlace(fd, modes, old, change));
}

FileChangeResult makeAsAsked(const FilePlace& place, const FileModes& modes, const FileEdit& edit) {
    const std::optional<FileChange> wanted = edit(std::nullopt);
    return wanted ? make(place, modes, wanted->text) : FileChangeResult{ENOENT, FileStep::Open};
}

// One turn; nothing when another writer was faster, so that what was seen no longer counts.
using Turn = std::function<std::optional<FileChangeResult>(const FilePlace& place, int fd)>;

// Finds, opens and locks the file, and hands it to the turn; where there is none, makes it.
FileChangeResult takeTurns(const char* path, const FileModes& modes, const FileEdit& edit, const Turn& turn) {
    const CancellationDisabled whole; // a thread that is unwound half-way would leave a mix
    FilePlace place;
    if (const int error = findFilePlace(path, place)) {
        return {error, FileStep::Find};
    }
    const Deadline allLimit = Deadline::in(kAllLimitMs);
    do {
        constexpr int kFlags = O_RDWR | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW;
        const UniqueFd file(sys::openat(place.directory.get(), place.name.c_str(), kFlags));
        if (!file.valid() && errno != ENOENT) {
            return {errno, FileStep::Open};
        }
        if (!file.valid()) {
            const FileChangeResult made = makeAsAsked(place, modes, edit);
            // Another writer made it first: its content is what the change must be made to.
            if (made.error == EEXIST && made.step == FileStep::TakePlace) {
                continue;
            }
            return made;
        }
        lockFor(file.get(), Deadline::in(kLockLimitMs));
        if (const auto result = turn(place, file.get())) {
            return *result;
        }
    } while (allLimit.remainingMs() != 0);
    return {EAGAIN, FileStep::TakePlace};
}

} // namespace

const char* nameOf(FileStep step) {
    return kStepNames[static_cast<size_t>(step)];
}

FileChangeResult editFile(const char* path, size_t largest, const FileModes& modes, const FileEdit& edit) {
    return takeTurns(path, modes, edit,
                     [&](const FilePlace& place, int fd) -> std::optional<FileChangeResult> {
                         FileContent old;
                         if (const int error = readRegularFile(fd, largest, 0, old)) {
                             return FileChangeResult{error, FileStep::Read};
                         }
                         if (const int error = lookAgain(place, old.status)) {
                             return notThere(error);
                         }
                         const std::optional<FileChange> wanted = edit(contentOf(old));
                         return wanted ? change(place, fd, modes, old, *wanted) : FileChangeResult{};
                     });
}

FileChangeResult replaceFileContent(const char* path, const FileModes& modes, std::string_view content) {
    const FileEdit whole = [&](std::optional<std::string_view>) {
        return FileChange{0, 0, std::string(content)};
    };
    return takeTurns(path, modes, whole,
                     [&](const FilePlace& place, int fd) -> std::optional<FileChangeResult> {
                         FileContent truncated; // nothing of the old content stays, so none is read
                         if (sys::fstat(fd, &truncated.status) != 0) {
                             return FileChangeResult{errno, FileStep::Open};
                         }
                         if (!S_ISREG(truncated.status.st_mode)) {
                             return failedAt(FileStep::Write, writeAll(fd, content));
                         }
                         if (const int error = lookAgain(place, truncated.status)) {
                             return notThere(error);
                         }
                         return change(place, fd, modes, truncated, *whole(std::nullopt));
                     });
}

} // namespace em

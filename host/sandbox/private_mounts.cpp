#include "host/sandbox/private_mounts.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include <fmt/format.h>

#include "base/unique_fd.h"
#include "host/common/failure.h"
#include "host/sandbox/bound_tree.h"
#include "host/sandbox/refused_places.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

constexpr const char* kMemory = "/sys";
constexpr const char* kCopies = "/copies";
constexpr const char* kBound = "/bound";
constexpr uint64_t kPage = 4096;
constexpr uint64_t kBytesForAnEntry = 2048; // what the kernel needs for one is half of it
constexpr uint64_t kFewestEntries = 1024;

struct WritablePlace {
    const char* place;
    const char* mode;
};

constexpr std::array<WritablePlace, 5> kWritable = {
    {{"/tmp", "0755"}, {"/opt", "0755"}, {"/scratch", "0755"}, {"/dev/shm", "1777"}, {kCopies, "0755"}}};

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

void writeFile(const char* path, const std::string& content) {
    const em::UniqueFd file(open(path, O_WRONLY | O_CLOEXEC));
    if (!file.valid() || write(file.get(), content.data(), content.size()) < 0) {
        fail(path);
    }
}

void keepUser(const PrivateMounts& mounts) {
    writeFile("/proc/self/setgroups", "deny"); // without it no group may be named
    writeFile("/proc/self/uid_map", fmt::format("{0} {0} 1", mounts.user));
    writeFile("/proc/self/gid_map", fmt::format("{0} {0} 1", mounts.group));
}

// What the kernel counts for each user, whose services would have none left: the user is the machine's, by
// number. A kernel that knows no such bound counts otherwise.
void boundKernelObjects() {
    constexpr std::array<std::pair<const char*, const char*>, 4> kBounds = {
        {{"/proc/sys/user/max_inotify_instances", "32"},
         {"/proc/sys/user/max_inotify_watches", "65536"},
         {"/proc/sys/user/max_fanotify_groups", "32"},
         {"/proc/sys/user/max_fanotify_marks", "65536"}}};
    for (const auto& [file, bound] : kBounds) {
        if (access(file, F_OK) == 0) {
            writeFile(file, bound);
        }
    }
}

// Which does not keep anybody from writing into a device.
void makeReadOnly(const char* file) {
    mount_attr readOnly = {};
    readOnly.attr_set = MOUNT_ATTR_RDONLY;
    if (mount(file, file, nullptr, MS_BIND, nullptr) != 0 ||
        mount_setattr(AT_FDCWD, file, 0, &readOnly, sizeof readOnly) != 0) {
        fail(file);
    }
}

// A terminal is mounted read-only first; the other devices are by now.
void reopenDevice(int fd) {
    struct stat open = {};
    struct stat named = {};
    std::error_code failed;
    const std::string path = fs::read_symlink(fmt::format("/proc/self/fd/{}", fd), failed);
    // One of another mount namespace has no name here.
    if (fstat(fd, &open) != 0 || !S_ISCHR(open.st_mode) || failed || stat(path.c_str(), &named) != 0 ||
        named.st_dev != open.st_dev || named.st_ino != open.st_ino) {
        return;
    }
    if (isatty(fd) == 1) {
        makeReadOnly(path.c_str());
    }
    const int flags = fcntl(fd, F_GETFL);
    const em::UniqueFd again(::open(path.c_str(), (flags & O_ACCMODE) | O_NOCTTY | O_NONBLOCK));
    // Where it may not be opened, its mode is not the sandbox's to change either.
    if (again.valid() && (fcntl(again.get(), F_SETFL, flags) < 0 || dup2(again.get(), fd) < 0)) {
        fail(path);
    }
}

void makeFile(const std::string& path) {
    if (mknod(path.c_str(), S_IFREG | 0444, 0) != 0) {
        fail(path);
    }
}

std::string nameOf(const em::UniqueFd& opened) {
    return fmt::format("/proc/self/fd/{}", opened.get());
}

std::vector<fs::path> namesIn(const fs::path& directory) {
    std::vector<fs::path> names;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory)) {
        names.push_back(entry.path().filename());
    }
    return names;
}

// Of "/etc" what is named itself is copied, but no secret below it: the same as what is bound.
bool keepsSecrets(const std::string& copy) {
    return isWithin(copy, "/etc");
}

struct stat statusOf(const em::UniqueFd& opened, const std::string& name) {
    struct stat status = {};
    if (!opened.valid() || fstat(opened.get(), &status) != 0) {
        fail(name);
    }
    return status;
}

// By what is open, never by a path: whoever owns the tree may change it meanwhile. Modes of directories come
// last: one may be without the right to write.
void copyTree(const em::UniqueFd& from, const fs::path& to, bool withSecrets) {
    const struct stat status = statusOf(from, to);
    if (S_ISLNK(status.st_mode)) {
        std::array<char, PATH_MAX> target = {};
        if (readlinkat(from.get(), "", target.data(), target.size() - 1) < 0 ||
            symlink(target.data(), to.c_str()) != 0) {
            fail(to);
        }
    } else if (S_ISREG(status.st_mode)) {
        fs::copy_file(nameOf(from), to);
    } else if (S_ISDIR(status.st_mode)) {
        fs::create_directory(to);
        for (const fs::path& name : namesIn(nameOf(from))) {
            const em::UniqueFd below(openat(from.get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
            if (withSecrets || !isSecret(statusOf(below, to / name).st_mode)) {
                copyTree(below, to / name, withSecrets);
            }
        }
        fs::permissions(to, static_cast<fs::perms>(status.st_mode & 07777));
    }
}

// Files and directories only: a socket or FIFO may stand there by now.
em::UniqueFd openShown(const std::string& path) {
    em::UniqueFd opened(openWithoutLinks(path, O_PATH));
    const struct stat status = statusOf(opened, path);
    if (!S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode)) {
        throw std::runtime_error(path + " became something else while it was looked at");
    }
    return opened;
}

void hold(const std::string& path, const std::string& place) {
    const em::UniqueFd opened = openShown(path);
    if (fs::is_directory(nameOf(opened))) {
        fs::create_directories(place);
    } else {
        makeFile(place);
    }
    if (mount(nameOf(opened).c_str(), place.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
        fail(path);
    }
}

void layBin(const std::vector<BinEntry>& entries) {
    fs::create_directory(kPlaceOfBin);
    for (const BinEntry& entry : entries) {
        const std::string path = std::string(kPlaceOfBin) + '/' + entry.name;
        if (!entry.target.empty()) {
            fs::create_symlink(entry.target, path);
        } else {
            makeFile(path);
        }
    }
}

void mountMemory(const std::string& place, const std::string& options) {
    if (mount("tmpfs", place.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, options.c_str()) != 0) {
        fail(place);
    }
}

void layMemory(const PrivateMounts& mounts) {
    mountMemory(kMemory, "mode=0755");
    layBin(mounts.bin);
    const uint64_t entries = std::max(kFewestEntries, mounts.size / kBytesForAnEntry) + mounts.copies.size();
    for (const WritablePlace& writable : kWritable) {
        const std::string place = placeOfMemory(writable.place);
        fs::create_directories(place);
        mountMemory(place, fmt::format("mode={},size={},nr_inodes={}", writable.mode, mounts.size, entries));
    }
    for (size_t i = 0; i < mounts.copies.size(); ++i) {
        copyTree(openShown(mounts.copies[i]), placeOfCopy(i), !keepsSecrets(mounts.copies[i]));
    }
    fs::create_directory(std::string(kMemory) + kBound);
    for (size_t i = 0; i < mounts.bound.size(); ++i) {
        hold(mounts.bound[i], placeOfBound(i));
    }
}

} // namespace

std::string placeOfMemory(const std::string& place) {
    return kMemory + place;
}

std::string placeOfCopy(size_t index) {
    return fmt::format("{}{}/{}", kMemory, kCopies, index);
}

std::string placeOfBound(size_t index) {
    return fmt::format("{}{}/{}", kMemory, kBound, index);
}

void checkCopies(const std::vector<std::string>& copies, uint64_t size, size_t& entries) {
    uint64_t total = 0;
    for (const std::string& copy : copies) {
        const auto add = [&](const std::string& path, unsigned char type) {
            struct stat status = {};
            const bool known = lstat(path.c_str(), &status) == 0;
            if (known && path != copy && keepsSecrets(copy) && isSecret(status.st_mode)) {
                return false;
            }
            if (type == DT_WHT || (type == DT_REG && access(path.c_str(), R_OK) != 0)) {
                throw Failure(fmt::format("--copy {}: {} cannot be read", copy, path), kExitUsage);
            }
            const bool sized = type == DT_REG && known && status.st_size > 0;
            total += sized ? (static_cast<uint64_t>(status.st_size) + kPage - 1) / kPage * kPage : kPage;
            if (total > size) {
                throw Failure(fmt::format("--copy {}: more than the {} bytes that --size allows", copy, size),
                              kExitUsage);
            }
            return true;
        };
        if (fs::is_directory(copy)) {
            walkTree(copy, entries, add);
        } else if (fs::is_regular_file(copy)) {
            add(copy, DT_REG);
        } else {
            throw Failure(fmt::format("--copy {}: neither file nor directory", copy), kExitUsage);
        }
    }
}

void layPrivateMounts(const PrivateMounts& mounts, const std::vector<int>& standard) {
    keepUser(mounts);
    if (mounts.oneUserNamespace) {
        writeFile("/proc/sys/user/max_user_namespaces", "1"); // below this one, in all and for good
    }
    boundKernelObjects();
    // Not as a slave: what the machine mounts later would come in, and be writable.
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        fail("mount /");
    }
    for (const char* device : kDevices) {
        makeReadOnly(device);
    }
    makeReadOnly(mounts.program.c_str());
    for (const int fd : standard) {
        reopenDevice(fd);
    }
    layMemory(mounts);
}

} // namespace volad_dev

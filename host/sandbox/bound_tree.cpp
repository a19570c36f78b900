#include "host/sandbox/bound_tree.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string_view>

#include <fmt/format.h>

#include "host/common/failure.h"

namespace volad_dev {
namespace {

// Most more entries to cover than any tree of good manners has; each one is a mount.
constexpr size_t kMostHidden = 500;

[[noreturn]] void refuse(const std::string& path, const std::string& reason) {
    throw Failure(fmt::format("{}: {}", path, reason), kExitUsage);
}

unsigned char typeOf(const std::string& path) {
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0) {
        return DT_UNKNOWN; // gone again
    }
    return static_cast<unsigned char>(IFTODT(status.st_mode));
}

bool isEndpoint(unsigned char type) {
    return type == DT_SOCK || type == DT_FIFO || type == DT_CHR || type == DT_BLK;
}

bool isSecretEntry(const std::string& path) {
    struct stat status = {};
    return lstat(path.c_str(), &status) == 0 && isSecret(status.st_mode);
}

} // namespace

bool isSecret(mode_t mode) {
    const mode_t needed = S_ISDIR(mode) ? S_IROTH | S_IXOTH : S_IROTH;
    return !S_ISLNK(mode) && (mode & needed) != needed;
}

int openWithoutLinks(const std::string& path, uint64_t flags) {
    open_how how = {};
    how.flags = flags | O_CLOEXEC;
    how.resolve = RESOLVE_NO_SYMLINKS;
    return static_cast<int>(syscall(SYS_openat2, AT_FDCWD, path.c_str(), &how, sizeof how));
}

void walkTree(const std::string& directory, size_t& entries,
              const std::function<bool(const std::string&, unsigned char)>& visit) {
    std::vector<std::string> left = {directory};
    while (!left.empty()) {
        const std::string path = std::move(left.back());
        left.pop_back();
        const int opened = openWithoutLinks(path, O_RDONLY | O_DIRECTORY);
        const std::unique_ptr<DIR, int (*)(DIR*)> listing(opened < 0 ? nullptr : fdopendir(opened), closedir);
        if (!listing && (errno == EACCES || errno == EPERM)) {
            visit(path, DT_WHT);
            continue;
        }
        if (!listing) {
            refuse(path, strerrordesc_np(errno));
        }
        // NOLINTNEXTLINE(concurrency-mt-unsafe): each listing has one reader
        while (const dirent* entry = readdir(listing.get())) {
            const std::string_view name = entry->d_name;
            if (name == "." || name == "..") {
                continue;
            }
            if (++entries > kMostEntries) {
                refuse(directory, fmt::format("more than {} entries are to be made visible", kMostEntries));
            }
            std::string below = (path == "/" ? "" : path) + '/';
            below += name;
            // Not as the listing has it: that is what lies below where something is mounted on the entry.
            struct stat status = {};
            if (fstatat(dirfd(listing.get()), entry->d_name, &status, AT_SYMLINK_NOFOLLOW) != 0) {
                if (errno == ENOENT) {
                    continue; // gone again
                }
                if (errno != EACCES && errno != EPERM) {
                    refuse(below, strerrordesc_np(errno));
                }
                // A mount of another user's, or a directory that tells names only, which its owner may open
                // inside: of that no entry was visited yet.
                const bool others = faccessat(dirfd(listing.get()), ".", X_OK, AT_EACCESS) == 0;
                visit(others ? below : path, DT_WHT);
                if (others) {
                    continue;
                }
                break;
            }
            const auto type = static_cast<unsigned char>(IFTODT(status.st_mode));
            if (visit(below, type) && type == DT_DIR) {
                left.push_back(std::move(below));
            }
        }
    }
}

void TreeSearch::add(const std::string& root, bool secrets) {
    const unsigned char type = typeOf(root);
    if (isEndpoint(type)) {
        refuse(root, "a socket, FIFO or device leads out of the sandbox");
    }
    if (type != DT_DIR) {
        return;
    }
    walkTree(root, m_entries, [&](const std::string& path, unsigned char kind) {
        const bool unlisted = kind == DT_WHT;
        if (!unlisted && !isEndpoint(kind) && !(secrets && isSecretEntry(path))) {
            return true;
        }
        if (m_found.size() >= kMostHidden) {
            refuse(root, fmt::format("more than {} sockets, FIFOs and the like would have to be covered",
                                     kMostHidden));
        }
        m_found.push_back({path, unlisted || kind == DT_DIR});
        return false;
    });
}

} // namespace volad_dev

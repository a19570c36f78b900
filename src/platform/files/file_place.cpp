#include "platform/files/file_place.h"

#include <array>
#include <climits>
#include <string_view>
#include <utility>

namespace em {
namespace {

constexpr int kMostLinks = 40; // as many as the kernel follows
constexpr int kLookOnly = O_PATH | O_CLOEXEC;

UniqueFd startOf(std::string_view path) {
    return UniqueFd(sys::open(path.starts_with('/') ? "/" : ".", kLookOnly | O_DIRECTORY));
}

// Cuts the first component off, and the separators behind it.
std::string takeComponent(std::string& rest) {
    const size_t from = rest.find_first_not_of('/');
    const size_t to = rest.find('/', from);
    const size_t next = rest.find_first_not_of('/', to);
    std::string component = from == std::string::npos ? "" : rest.substr(from, to - from);
    rest = next == std::string::npos ? "" : rest.substr(next);
    return component;
}

// The text of the link that the descriptor stands for.
// Root follows no link of another user, on no part of the path: who can make a link would choose which file
// is written.
int readLink(int link, uid_t owner, std::string& target) {
    if (sys::geteuid() == 0 && owner != 0) {
        return EPERM;
    }
    std::array<char, PATH_MAX> text;
    const ssize_t size = sys::readlinkat(link, "", text.data(), text.size());
    if (size <= 0) {
        return size < 0 ? errno : ENOENT;
    }
    target.assign(text.data(), static_cast<size_t>(size));
    return 0;
}

} // namespace

int findFilePlace(const char* path, FilePlace& place) {
    std::string rest = path;
    place.directory = startOf(rest);
    int links = 0;
    while (place.directory.valid()) {
        const bool mustBeDirectory = rest.ends_with('/');
        place.name = takeComponent(rest);
        if (place.name.empty()) {
            return path[0] == '\0' ? ENOENT : EISDIR;
        }
        // Each component is opened by itself and never followed, so that what was looked at is what is used.
        UniqueFd entry(sys::openat(place.directory.get(), place.name.c_str(), kLookOnly | O_NOFOLLOW));
        if (!entry.valid()) {
            return errno == ENOENT && rest.empty() && !mustBeDirectory ? 0 : errno;
        }
        struct stat status = {};
        if (sys::fstat(entry.get(), &status) != 0) {
            return errno;
        }
        if (S_ISLNK(status.st_mode)) {
            std::string target;
            if (const int error =
                    ++links > kMostLinks ? ELOOP : readLink(entry.get(), status.st_uid, target)) {
                return error;
            }
            if (target.front() == '/') {
                place.directory = startOf(target);
            }
            if (!rest.empty()) {
                target.append("/").append(rest);
            }
            rest = std::move(target);
        } else if (rest.empty()) {
            return mustBeDirectory ? EISDIR : 0;
        } else {
            place.directory = std::move(entry);
        }
    }
    return errno;
}

} // namespace em

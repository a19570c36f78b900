#include "host/rehearsal/files_left.h"

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

constexpr int kMostEntries = 10'000;
constexpr size_t kMostFiles = 1'000;

bool isBefore(const timespec& left, const timespec& right) {
    return left.tv_sec != right.tv_sec ? left.tv_sec < right.tv_sec : left.tv_nsec < right.tv_nsec;
}

} // namespace

LeftFiles filesLeft(const std::string& directory, const timespec& since) {
    const std::string record = fs::path(layout::kCommandRecord).filename();
    LeftFiles left;
    std::error_code failed;
    fs::recursive_directory_iterator entry(directory, fs::directory_options::skip_permission_denied, failed);
    for (int seen = 0; !failed && entry != fs::recursive_directory_iterator(); ++seen) {
        if (seen == kMostEntries || left.files.size() == kMostFiles) {
            left.complete = false;
            break;
        }
        struct stat status = {};
        const std::string name = entry->path().lexically_relative(directory);
        // By the time of the last change of anything, which nobody can set.
        if (lstat(entry->path().c_str(), &status) == 0 && S_ISREG(status.st_mode) && name != record &&
            !isBefore(status.st_ctim, since)) {
            left.files.push_back({name, static_cast<uint64_t>(status.st_size)});
        }
        entry.increment(failed);
    }
    left.complete = left.complete && !failed;
    std::ranges::sort(left.files, {}, &LeftFile::file);
    return left;
}

} // namespace volad_dev

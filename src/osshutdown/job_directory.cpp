#include "osshutdown/job_directory.h"

#include <string_view>

#include "base/system.h"
#include "contract/places.h"

namespace em {

std::optional<std::string> jobDirectory(const char* job, const char* directory) {
    if (directory != nullptr && *directory != '\0') {
        return directory;
    }
    const std::string_view text = job;
    const size_t slash = text.rfind('/');
    if (slash == std::string_view::npos) {
        return std::nullopt;
    }
    // Everything up to the last slash, arguments included: a job with arguments should be given a directory.
    return slash == 0 ? sys::path(place::kJobFallbackDirectory) : std::string(text.substr(0, slash));
}

} // namespace em

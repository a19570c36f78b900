#include "platform/profile/profile_write.h"

#include <cerrno>

#include "base/error_text.h"
#include "base/swallow.h"
#include "platform/profile/profile_edit.h"
#include "platform/profile/profile_line.h"
#include "platform/profile/profile_string.h"
#include "trace/trace.h"

namespace em {
namespace {

constexpr FileModes kModes = {.fresh = 0644};

std::optional<std::string_view> textOrNothing(const char* text) {
    return text != nullptr ? std::optional<std::string_view>(text) : std::nullopt;
}

// A file that is not there is made for a value only.
bool makesFile(const ProfileWrite& write) {
    return write.key && write.value;
}

// May throw bad_alloc, before anything was changed.
FileChangeResult writeProfile(const ProfileWrite& write, const char* file, ProfileGuard guard) {
    bool appending = false;
    bool refused = false;
    const FileChangeResult result =
        editFile(file, kLargestProfile, kModes,
                 [&](std::optional<std::string_view> content) -> std::optional<FileChange> {
                     if (!content && !makesFile(write)) {
                         return std::nullopt;
                     }
                     // Told apart for the one warning that only an append has.
                     std::optional<FileChange> change = editProfile(content.value_or(""), write);
                     appending = change && change->from == content.value_or("").size();
                     refused = change && guard != nullptr && !guard(content.value_or(""), *change);
                     if (refused) {
                         return std::nullopt;
                     }
                     return change;
                 });
    if (refused) {
        return {ECANCELED, FileStep::None};
    }
    // Nothing was asked where not even the directory is there.
    const bool noDirectory = result.step == FileStep::Find && result.error == ENOENT;
    if (makesFile(write) && (noDirectory || (result.step == FileStep::Create && appending))) {
        EM_TRACE(1, "WritePrivateProfileString: ## WARNING: append open error: %s\n",
                 ErrorText(result.error).get());
    }
    return result;
}

} // namespace

FileChangeResult writeProfile(const char* section, const char* key, const char* value, const char* file,
                              ProfileGuard guard) {
    FileChangeResult result{EINVAL, FileStep::None};
    if (section == nullptr || file == nullptr) {
        return result;
    }
    const ProfileWrite write{section, textOrNothing(key), textOrNothing(value)};
    if (readsBack(write)) {
        result = {ENOMEM, FileStep::None}; // unless it is told otherwise
        static_cast<void>(swallow([&] { result = writeProfile(write, file, guard); }));
    }
    return result;
}

uint32_t WritePrivateProfileString(const char* section, const char* key, const char* value,
                                   const char* file) {
    EM_TRACE(4, "WritePrivateProfileString(%s, %s, %s, %s)\n", textOr(section, "<nil>"), textOr(key, "<nil>"),
             textOr(value, "<nil>"), textOr(file));
    const uint32_t result = writeProfile(section, key, value, file).done() ? 1 : 0;
    EM_TRACE(4, "WritePrivateProfileString rc=0x%04x\n", result);
    return result;
}

} // namespace em

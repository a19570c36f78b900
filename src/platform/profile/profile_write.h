// The writing profile call with the reason of a failure, for those who tell it to somebody.
#pragma once

#include <string_view>

#include "platform/files/file_change.h"

namespace em {

// Whether a change may be made to this content. May throw bad_alloc.
using ProfileGuard = bool (*)(std::string_view content, const FileChange& change);

// As WritePrivateProfileString, which is this with a 1 or 0 and its lines around, and without a guard. A step
// of None: EINVAL for what would not read back, ENOMEM, ECANCELED for what the guard refused. Throws nothing.
[[nodiscard]] FileChangeResult writeProfile(const char* section, const char* key, const char* value,
                                            const char* file, ProfileGuard guard = nullptr);

} // namespace em

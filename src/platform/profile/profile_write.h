// The writing profile call with the reason of a failure, for those who tell it to somebody.
#pragma once

#include "platform/files/file_change.h"

namespace em {

// As WritePrivateProfileString, which is this with a 1 or 0 and its lines around. A step of None: EINVAL for
// what would not read back, ENOMEM. Throws nothing.
[[nodiscard]] FileChangeResult writeProfile(const char* section, const char* key, const char* value,
                                            const char* file);

} // namespace em

// What a write changes in a profile file: pure text work.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/files/file_change.h"

namespace em {

// What is asked: a value to add or replace, a key to delete (no value) or a section to delete (no key).
struct ProfileWrite {
    std::string_view section;
    std::optional<std::string_view> key;
    std::optional<std::string_view> value;
};

// Whether a value to be written could be read back. Deletions always can.
[[nodiscard]] bool readsBack(const ProfileWrite& write);

// The change to the file's content; nothing when there is nothing to delete. A new key goes directly in front
// of the next header. The first line of a section gets an empty line in front when it is replaced, and leaves
// one when it is deleted. May throw bad_alloc.
[[nodiscard]] std::optional<FileChange> editProfile(std::string_view content, const ProfileWrite& write);

} // namespace em

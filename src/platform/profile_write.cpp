#include <array>
#include <cstring>

#include "platform/base/swallow.h"
#include "platform/base/unique_fd.h"
#include "platform/file_change.h"
#include "platform/profile_edit.h"
#include "platform/profile_line.h"
#include "platform/profile_string.h"
#include "trace/trace.h"

namespace em {
namespace {

constexpr mode_t kNewFileMode = 0644;

std::optional<std::string_view> textOrNothing(const char* text) {
    return text != nullptr ? std::optional<std::string_view>(text) : std::nullopt;
}

uint32_t outcome(const FileChangeResult& result, bool appending) {
    if (result.error != 0 && result.notOpened && appending) {
        std::array<char, 256> buffer;
        EM_TRACE(1, "WritePrivateProfileString: ## WARNING: append open error: %s\n",
                 ::strerror_r(result.error, buffer.data(), buffer.size()));
    }
    return result.error == 0 ? 1 : 0;
}

uint32_t createFile(const ProfileWrite& write, const char* file) {
    if (!write.key || !write.value) {
        return 0;
    }
    return outcome(CreateFile(file, editProfile("", write)->text, kNewFileMode), true);
}

uint32_t writeProfile(const ProfileWrite& write, const char* file) {
    if (!readsBack(write)) {
        return 0;
    }
    const UniqueFd opened(sys::open(file, O_RDWR | O_CLOEXEC | O_NONBLOCK));
    if (!opened.valid()) {
        return errno == ENOENT ? createFile(write, file) : 0;
    }
    FileContent old;
    if (ReadRegularFile(opened.get(), kLargestProfile, 0, old) != 0) {
        return 0;
    }
    const std::optional<FileChange> change = editProfile({old.data.get(), old.size}, write);
    if (!change) {
        return 1;
    }
    return outcome(ChangeFile(file, opened.get(), old, *change), change->from == old.size);
}

} // namespace

uint32_t WritePrivateProfileString(const char* section, const char* key, const char* value,
                                   const char* file) {
    EM_TRACE(4, "WritePrivateProfileString(%s, %s, %s, %s)\n", textOr(section, "<nil>"), textOr(key, "<nil>"),
             textOr(value, "<nil>"), textOr(file));
    uint32_t result = 0;
    if (section != nullptr && file != nullptr) {
        const ProfileWrite write{section, textOrNothing(key), textOrNothing(value)};
        // Only memory can be short here, before anything was changed.
        static_cast<void>(swallow([&] { result = writeProfile(write, file); }));
    }
    EM_TRACE(4, "WritePrivateProfileString rc=0x%04x\n", result);
    return result;
}

} // namespace em

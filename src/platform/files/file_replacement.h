// A file beside the one whose place it takes; gone again unless it took it.
#pragma once

#include <string>
#include <string_view>

#include "base/unique_fd.h"
#include "platform/files/file_place.h"

namespace em {

// Each operation returns 0 or the error number. The place outlives the object.
class FileReplacement {
public:
    explicit FileReplacement(const FilePlace& place) : m_place(place) {}
    ~FileReplacement();
    FileReplacement(const FileReplacement&) = delete;
    FileReplacement& operator=(const FileReplacement&) = delete;

    // Under a name of its own: what stands in the way, a left-over of a killed writer say, is somebody's and
    // stays. The process's mask lessens the mode.
    [[nodiscard]] int create(mode_t mode);
    [[nodiscard]] int setOwner(uid_t user, gid_t group);
    [[nodiscard]] int setMode(mode_t mode);
    [[nodiscard]] int write(std::string_view text);
    [[nodiscard]] int takePlace();
    // The same where nothing stood: EEXIST when something does by now.
    [[nodiscard]] int takeEmptyPlace();

private:
    [[nodiscard]] int rename(unsigned flags);

    const FilePlace& m_place;
    std::string m_name;
    UniqueFd m_file;
};

} // namespace em

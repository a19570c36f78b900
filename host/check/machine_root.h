// A machine's files as they lie below a directory: this machine's own, an image, another root. A path is
// always that machine's, without the directory in front, here and in all that is told of it. Links are
// followed inside it, so that one to "/etc/x" means DIRECTORY/etc/x; nothing is ever opened but regular files
// and directories, and nothing is run.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <string>
#include <vector>

#include "base/file_content.h"
#include "base/unique_fd.h"

namespace volad_dev {

// What stands at a path: held, but not opened, so that a FIFO or a device is only looked at.
struct Seen {
    em::UniqueFd file;
    struct stat status = {};
    int error = 0; // why it cannot be looked at

    [[nodiscard]] bool there() const { return error == 0; }
    [[nodiscard]] bool missing() const { return error == ENOENT || error == ENOTDIR; }
    [[nodiscard]] bool isDirectory() const { return there() && S_ISDIR(status.st_mode); }
    [[nodiscard]] bool isFile() const { return there() && S_ISREG(status.st_mode); }
    [[nodiscard]] bool isProgram() const {
        return isFile() && (status.st_mode & (S_IXUSR | S_IXGRP | S_IXOTH)) != 0;
    }
    // By which the product's own code opens this very file or directory, while the object lives.
    [[nodiscard]] std::string path() const;
};

class MachineRoot {
public:
    // Throws Failure when the directory cannot be opened or the kernel knows no way to stay inside it.
    explicit MachineRoot(const std::string& directory);

    // A relative path begins at the root, too.
    [[nodiscard]] Seen look(const std::string& path) const;
    // 0 or an error number, as em::readRegularFile has them; `padding` zero bytes are behind the content.
    [[nodiscard]] int read(const std::string& path, size_t largest, size_t padding,
                           em::FileContent& content) const;
    // At most `most` bytes from the start of a file; fewer where it ends or cannot be read.
    [[nodiscard]] static std::string firstBytes(const Seen& file, size_t most);
    // 0 or an error number; without "." and "..", sorted. E2BIG above ten thousand.
    [[nodiscard]] int list(const std::string& directory, std::vector<std::string>& names) const;

    // The caller's path as it is below the root; one from elsewhere, and each path of "/", as it stands.
    [[nodiscard]] std::string inside(const std::string& path) const;
    // Where it really stands, below the root.
    [[nodiscard]] std::string realPath(const Seen& seen) const;
    // Root, or whoever owns the whole tree.
    [[nodiscard]] bool isOwner(uid_t user) const { return user == 0 || user == m_status.st_uid; }
    [[nodiscard]] bool isGroup(gid_t group) const { return group == 0 || group == m_status.st_gid; }

private:
    em::UniqueFd m_root;
    struct stat m_status = {};
    std::string m_real; // in front of each real path, empty for "/"
};

// The name below the directory, without a doubled separator.
[[nodiscard]] std::string joined(const std::string& directory, const std::string& name);
// A path as a process that stands in the directory means it.
[[nodiscard]] std::string pathFrom(const std::string& directory, const std::string& path);

} // namespace volad_dev

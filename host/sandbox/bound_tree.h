// What stands in a tree that is about to become visible inside the sandbox, and must not: a read-only mount
// does not keep anybody from connecting to a socket or from writing into a FIFO, and at its other end is a
// real service.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace volad_dev {

// More entries than this are not looked at: what cannot be told is not bound.
inline constexpr size_t kMostEntries = 100'000;

// Something to be covered by an unreadable empty file or directory.
struct HiddenEntry {
    std::string path;
    bool directory;
};

class TreeSearch {
public:
    // Adds the entries of the tree at `root`, a real path: sockets, FIFOs and devices, and directories that
    // cannot be listed, whose names may be guessed all the same. secrets: also what others than owner and
    // group may not read. Links are not followed; what is mounted below belongs to the tree. All calls
    // together count the entries. Throws Failure (kExitUsage) when root is a socket, FIFO or device itself,
    // and above kMostEntries.
    void add(const std::string& root, bool secrets);

    [[nodiscard]] const std::vector<HiddenEntry>& found() const { return m_found; }

private:
    std::vector<HiddenEntry> m_found;
    size_t m_entries = 0;
};

// What others than owner and group may not read, by its permission bits, whoever asks: the machine's root may
// be user 0 inside. A link is none.
[[nodiscard]] bool isSecret(mode_t mode);

// Opens the path where no part of it is a link, whatever it was when it was looked at: a link put in place of
// a directory leads anywhere. Closes at an exec; -1
// and errno as open.
[[nodiscard]] int openWithoutLinks(const std::string& path, uint64_t flags);

// Calls `visit` with the path and the type (DT_REG and the like) of each entry below the directory; a
// directory that cannot be listed comes a second time, as DT_WHT. Goes down where visit returns true. Throws
// Failure (kExitUsage) on a directory that vanished, or when `entries` grows beyond kMostEntries.
void walkTree(const std::string& directory, size_t& entries,
              const std::function<bool(const std::string&, unsigned char)>& visit);

} // namespace volad_dev

// What a piece of work leaves behind: threads, descriptors, locks on files, the caller's signal mask,
// processes (all of the sandbox's, uncollected children too, since an orphan is nobody's child), and files in
// the directories that are given.
#pragma once

#include <chrono>
#include <set>
#include <string>
#include <vector>

namespace em::test {

class LeftBehind {
public:
    // The picture before. Directories are looked at with all that lies below; those that are missing are
    // empty.
    explicit LeftBehind(std::vector<std::string> directories = {});

    // Compares with what is there now: a line for each thing that came ("left: ...") or went ("gone: ..."),
    // empty where nothing did. Looks again until the limit, since the kernel still shows a joined thread for
    // a moment and tells nobody when it is gone.
    [[nodiscard]] std::string difference(std::chrono::milliseconds limit = std::chrono::seconds(2)) const;

private:
    using Things = std::set<std::string>;
    [[nodiscard]] Things present() const;

    const std::vector<std::string> m_directories;
    const Things m_before;
};

} // namespace em::test

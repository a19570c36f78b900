// Which files of the machine a sandbox shows besides its "/usr" and "/etc", where, and what in them is
// covered.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "host/sandbox/bound_tree.h"
#include "host/sandbox/refused_places.h"
#include "host/sandbox/sandbox_options.h"

namespace volad_dev {

class VisiblePaths {
public:
    // own: the directories of the tool and of its helpers. coverage: the directory of a coverage run's
    // counts, or null. Looks at every tree. Throws Failure (kExitUsage) naming the path that may not be
    // shown.
    VisiblePaths(const SandboxOptions& options, const std::vector<std::string>& own, const char* coverage);

    // Of bubblewrap, which follows them in this order.
    [[nodiscard]] const std::vector<std::string>& arguments() const { return m_arguments; }
    // What covers the secrets of "/etc", and whatever leads out of it.
    [[nodiscard]] const std::vector<std::string>& argumentsForEtc() const { return m_forEtc; }
    // The real paths of what is copied: the number in the list is that of the private copy.
    [[nodiscard]] const std::vector<std::string>& copies() const { return m_copies; }
    // The same of what is bound.
    [[nodiscard]] const std::vector<std::string>& bound() const { return m_bound; }
    // By which paths this real one can be seen inside.
    [[nodiscard]] std::vector<std::string> showing(const std::string& path) const;

private:
    using Arguments = std::vector<std::string>;

    void look(const std::vector<std::string>& sources);
    [[nodiscard]] std::vector<std::string> placesOf(const std::string& path, const std::string& real) const;
    void bind(const char* how, const std::string& source, const std::string& place);
    void show(const std::string& path, const std::string& real);
    void cover(const std::string& source, const std::string& place);
    [[nodiscard]] bool shows(const std::string& path) const;

    // What is shown of the machine, a real path, and where inside.
    struct Shown {
        std::string source, place;
    };

    Arguments m_arguments, m_forEtc;
    std::vector<std::string> m_copies, m_bound;
    std::vector<std::string> m_shown; // real paths and the paths as they were given
    std::vector<Shown> m_laid;
    TreeSearch m_search;
};

// Lays an empty file or directory, unreadable whoever asks, over what is there.
void coverEntry(std::vector<std::string>& arguments, const HiddenEntry& entry);

} // namespace volad_dev

#include "host/sandbox/visible_paths.h"

#include <algorithm>
#include <array>
#include <filesystem>

#include "host/sandbox/private_mounts.h"
#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

constexpr const char* kOwnDirectory = "the tool's directory";

// There inside as on the machine, with all links that lead into them.
bool isSystem(const std::string& path) {
    constexpr std::array<const char*, 6> kSystem = {"/usr", "/etc", "/bin", "/sbin", "/lib", "/lib64"};
    return std::ranges::any_of(kSystem, [&](const char* place) { return isWithin(path, place); });
}

// Of "/usr", which is too large to be looked at whole, those parts that somebody names; the stand-ins lie
// over two.
bool isLookedAt(const std::string& real) {
    return !isWithin(real, "/usr/bin") && !isWithin(real, "/usr/sbin");
}

std::string asGiven(const std::string& path) {
    const std::string given = fs::absolute(path).lexically_normal();
    return given.size() > 1 && given.ends_with('/') ? given.substr(0, given.size() - 1) : given;
}

} // namespace

void coverEntry(std::vector<std::string>& arguments, const HiddenEntry& entry) {
    if (entry.directory) {
        arguments.insert(arguments.end(),
                         {"--perms", "0000", "--tmpfs", entry.path, "--remount-ro", entry.path});
    } else {
        // A device on a mount without devices: nobody opens it, and it holds nothing.
        arguments.insert(arguments.end(), {"--ro-bind", "/dev/null", entry.path});
    }
}

VisiblePaths::VisiblePaths(const SandboxOptions& options, const std::vector<std::string>& own,
                           const char* coverage) {
    std::vector<NeededPath> asked;
    for (const std::string& path : options.readOnly) {
        asked.push_back({"--bind", path});
    }
    asked.insert(asked.end(), options.needed.begin(), options.needed.end());
    std::vector<std::string> shown;
    shown.reserve(asked.size());
    for (const auto& [whose, path] : asked) {
        shown.push_back(allowedPath(whose, path, PathUse::Show));
    }
    for (const std::string& path : options.copies) {
        m_copies.push_back(allowedPath("--copy", path, PathUse::Copy));
    }
    std::vector<std::string> ownPlaces;
    ownPlaces.reserve(own.size());
    for (const std::string& directory : own) {
        ownPlaces.push_back(allowedPath(kOwnDirectory, directory, PathUse::Show));
    }
    const std::string scratch =
        options.scratch.empty() ? "" : allowedPath("--scratch", options.scratch, PathUse::Write);
    const std::string counts =
        coverage == nullptr ? "" : allowedPath("GCOV_PREFIX", coverage, PathUse::Write);
    std::vector<std::string> sources = shown;
    sources.insert(sources.end(), ownPlaces.begin(), ownPlaces.end());
    sources.insert(sources.end(), {scratch, counts});
    look(sources);
    size_t entries = 0;
    checkCopies(m_copies, options.size, entries);
    TreeSearch etc;
    etc.add("/etc", true);
    for (const HiddenEntry& entry : etc.found()) {
        coverEntry(m_forEtc, entry);
    }

    m_shown = shown;
    m_shown.insert(m_shown.end(), m_copies.begin(), m_copies.end());
    for (size_t i = 0; i < shown.size(); ++i) {
        show(asked[i].path, shown[i]);
    }
    for (size_t i = 0; i < m_copies.size(); ++i) {
        for (const std::string& place : placesOf(options.copies[i], m_copies[i])) {
            m_laid.push_back({m_copies[i], place});
            m_arguments.insert(m_arguments.end(), {"--bind", placeOfCopy(i), place});
        }
    }
    for (size_t i = 0; i < own.size(); ++i) {
        show(own[i], ownPlaces[i]); // over a copy of it, too: what asks the guard is not to be written
    }
    if (scratch.empty()) {
        m_arguments.insert(m_arguments.end(), {"--bind", placeOfMemory(layout::kScratch), layout::kScratch});
    } else {
        bind("--bind", scratch, layout::kScratch);
    }
    if (!counts.empty()) {
        bind("--bind", counts, layout::kCoverage);
        m_arguments.insert(m_arguments.end(), {"--setenv", layout::kCoverageVariable, layout::kCoverage});
    }
}

// Each tree once: of two that lie in one another the outer one.
void VisiblePaths::look(const std::vector<std::string>& sources) {
    std::vector<std::string> roots = sources;
    std::ranges::sort(roots);
    std::string outer;
    for (const std::string& root : roots) {
        const bool again = !outer.empty() && isWithin(root, outer);
        if (!root.empty() && !again && isLookedAt(root)) {
            m_search.add(root, isWithin(root, "/etc"));
            outer = root;
        }
    }
}

bool VisiblePaths::shows(const std::string& path) const {
    return isWithin(path, "/usr") || isWithin(path, "/etc") ||
           std::ranges::any_of(m_shown, [&](const std::string& place) { return isWithin(path, place); });
}

std::vector<std::string> VisiblePaths::showing(const std::string& path) const {
    std::vector<std::string> places;
    if (isWithin(path, "/usr") || isWithin(path, "/etc")) {
        places.push_back(path);
    }
    for (const Shown& laid : m_laid) {
        if (isWithin(path, laid.source)) {
            places.push_back(laid.place + path.substr(laid.source.size()));
        }
    }
    return places;
}

// The real path, and the one that was given where that is no link inside as well.
std::vector<std::string> VisiblePaths::placesOf(const std::string& path, const std::string& real) const {
    const std::string given = asGiven(path);
    return given == real || isSystem(given) || shows(given) ? std::vector{real} : std::vector{given, real};
}

void VisiblePaths::bind(const char* how, const std::string& source, const std::string& place) {
    m_arguments.insert(m_arguments.end(), {how, placeOfBound(m_bound.size()), place});
    m_bound.push_back(source);
    m_laid.push_back({source, place});
    cover(source, place);
}

void VisiblePaths::show(const std::string& path, const std::string& real) {
    for (const std::string& place : placesOf(path, real)) {
        if (!isWithin(real, "/usr")) {
            bind("--ro-bind", real, place);
        } else if (place == real) {
            cover(real, real); // there already
        } else {
            m_arguments.insert(m_arguments.end(), {"--symlink", real, place});
        }
        m_shown.push_back(place);
    }
}

void VisiblePaths::cover(const std::string& source, const std::string& place) {
    for (const HiddenEntry& entry : m_search.found()) {
        if (isWithin(entry.path, source)) {
            coverEntry(m_arguments, {place + entry.path.substr(source.size()), entry.directory});
        }
    }
}

} // namespace volad_dev

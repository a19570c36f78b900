#include "host/check/permission_check.h"

#include <fmt/format.h>

namespace volad_dev {
namespace {

// By whom it may be written; empty: by nobody else. In a directory with the sticky bit nobody takes the place
// of a file that is another's.
std::string writerOf(const MachineRoot& root, const struct stat& status, bool anyName) {
    if (!root.isOwner(status.st_uid)) {
        return fmt::format("user {}, its owner", status.st_uid);
    }
    if (S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0 && !anyName) {
        return {};
    }
    if ((status.st_mode & S_IWOTH) != 0) {
        return "everybody";
    }
    return (status.st_mode & S_IWGRP) != 0 && !root.isGroup(status.st_gid)
               ? fmt::format("group {}", status.st_gid)
               : std::string();
}

} // namespace

void PermissionCheck::file(const std::string& path, Use use) {
    above(path, use);
    lookAt(path, use, false);
}

void PermissionCheck::place(const std::string& directory, Use use) {
    above(directory, use);
    lookAt(directory, use, true);
}

void PermissionCheck::above(const std::string& path, Use use) {
    const std::string real = m_root.realPath(m_root.look(path));
    for (const std::string& each : {path, real}) {
        for (size_t slash = each.find('/', 1); slash != std::string::npos;
             slash = each.find('/', slash + 1)) {
            lookAt(each.substr(0, slash), use, false);
        }
    }
}

void PermissionCheck::lookAt(const std::string& path, Use use, bool anyName) {
    const Seen seen = m_root.look(path);
    const std::string real = m_root.realPath(seen);
    if (!seen.there() || m_seen.contains(real)) {
        return;
    }
    const std::string writer = writerOf(m_root, seen.status, anyName);
    if (writer.empty()) {
        return;
    }
    m_seen.insert(real);
    m_findings.push_back({path, 0, use == Use::Run ? "others-can-replace" : "others-can-write",
                          fmt::format("{}may be written by {} (mode {:04o})",
                                      real == path ? "" : fmt::format("is \"{}\", which ", real), writer,
                                      seen.status.st_mode & 07777)});
}

} // namespace volad_dev

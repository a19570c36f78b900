#include "host/files/registry_obstacles.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <system_error>

#include <fmt/format.h>

#include "host/files/registry_hold.h"
#include "platform/registry/registry_names.h"

namespace volad_dev {
namespace {

std::string withError(const char* what, int error) {
    return fmt::format("{}: {}", what, std::generic_category().message(error));
}

class Look {
public:
    Look(const std::string& directory, const std::string& shown) : m_directory(directory), m_shown(shown) {}

    std::vector<Finding> run() {
        if (::faccessat(AT_FDCWD, m_directory.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
            m_found.push_back({m_shown, 0, "directory-not-writable",
                               withError("no file can be made in it, nothing is saved", errno)});
        }
        lookAtLock();
        const auto main = statusOf(em::kRegistryMain);
        if (main && S_ISLNK(main->st_mode)) {
            add(em::kRegistryMain, "symbolic-link",
                "is a symbolic link: it is read, but no save replaces it");
        }
        for (const char* name : {em::kRegistryTemporary, em::kRegistryBackup}) {
            const auto status = statusOf(name);
            if (status && S_ISDIR(status->st_mode)) {
                add(name, "name-of-a-directory", "is a directory: a save needs the name for a file");
            }
        }
        return m_found;
    }

private:
    void add(const char* name, const char* code, const std::string& text) {
        m_found.push_back({m_shown + "/" + name, 0, code, text});
    }

    // None when there is no such file.
    std::optional<struct stat> statusOf(const char* name) {
        struct stat status = {};
        if (::lstat((m_directory + "/" + name).c_str(), &status) == 0) {
            return status;
        }
        if (errno != ENOENT) {
            add(name, "unreadable", withError("could not be looked at", errno));
        }
        return std::nullopt;
    }

    void lookAtLock() {
        const auto status = statusOf(em::kRegistryLock);
        if (!status) {
            return; // the next save makes it
        }
        if (const char* const refusal = em::refusalOfLockFile(*status)) {
            add(em::kRegistryLock, "lock-refused",
                fmt::format("does not count, nothing is saved: {}", refusal));
            return;
        }
        em::RegistryLock lock;
        const em::RegistryFailure failure = waitForRegistryLock(m_directory, lock);
        if (failure.error == EWOULDBLOCK) {
            add(em::kRegistryLock, "lock-held", "is held by another writer all the time, nothing is saved");
        } else if (failure.failedAt != nullptr) {
            add(em::kRegistryLock, "unreadable", withError(failure.failedAt, failure.error));
        }
    }

    const std::string& m_directory;
    const std::string& m_shown;
    std::vector<Finding> m_found;
};

} // namespace

std::vector<Finding> registrySaveObstacles(const std::string& directory, const std::string& shown) {
    return Look(directory, shown).run();
}

} // namespace volad_dev

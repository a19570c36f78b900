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
    explicit Look(const std::string& directory) : m_strDirectory(directory) {}

    std::vector<RegistryComplaint> Run() {
        if (::faccessat(AT_FDCWD, m_strDirectory.c_str(), W_OK | X_OK, AT_EACCESS) != 0) {
            m_Found.push_back(
                {m_strDirectory, 0, withError("no file can be made in it, nothing is saved", errno)});
        }
        LookAtLock();
        const auto main = StatusOf(em::kRegistryMain);
        if (main && S_ISLNK(main->st_mode)) {
            Complain(em::kRegistryMain, "is a symbolic link: it is read, but no save replaces it");
        }
        for (const char* name : {em::kRegistryTemporary, em::kRegistryBackup}) {
            const auto status = StatusOf(name);
            if (status && S_ISDIR(status->st_mode)) {
                Complain(name, "is a directory: a save needs the name for a file");
            }
        }
        return m_Found;
    }

private:
    void Complain(const char* name, const std::string& reason) {
        m_Found.push_back({m_strDirectory + "/" + name, 0, reason});
    }

    // None when there is no such file.
    std::optional<struct stat> StatusOf(const char* name) {
        struct stat status = {};
        if (::lstat((m_strDirectory + "/" + name).c_str(), &status) == 0) {
            return status;
        }
        if (errno != ENOENT) {
            Complain(name, withError("could not be looked at", errno));
        }
        return std::nullopt;
    }

    void LookAtLock() {
        const auto status = StatusOf(em::kRegistryLock);
        if (!status) {
            return; // the next save makes it
        }
        if (const char* const refusal = em::refusalOfLockFile(*status)) {
            Complain(em::kRegistryLock, fmt::format("does not count, nothing is saved: {}", refusal));
            return;
        }
        em::RegistryLock lock;
        const em::RegistryFailure failure = waitForRegistryLock(m_strDirectory, lock);
        if (failure.error == EWOULDBLOCK) {
            Complain(em::kRegistryLock, "is held by another writer all the time, nothing is saved");
        } else if (failure.failedAt != nullptr) {
            Complain(em::kRegistryLock, withError(failure.failedAt, failure.error));
        }
    }

    const std::string& m_strDirectory;
    std::vector<RegistryComplaint> m_Found;
};

} // namespace

std::vector<RegistryComplaint> registrySaveObstacles(const std::string& directory) {
    return Look(directory).Run();
}

} // namespace volad_dev

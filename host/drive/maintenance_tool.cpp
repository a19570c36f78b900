#include "host/drive/maintenance_tool.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

#include <fmt/format.h>

#include "base/unique_fd.h"
#include "host/common/failure.h"
#include "host/sandbox/sandbox_arguments.h"
#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

constexpr const char* kMissing = "#!/bin/sh\nexit 127\n";

[[noreturn]] void fail(const std::string& file) {
    throw std::system_error(errno, std::generic_category(), file);
}

// As a whole: a query may be on at any time.
void replaceFile(const std::string& file, const std::string& content, mode_t mode) {
    const std::string fresh = file + ".new";
    static_cast<void>(unlink(fresh.c_str()));
    {
        const em::UniqueFd opened(open(fresh.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!opened.valid() ||
            write(opened.get(), content.data(), content.size()) != static_cast<ssize_t>(content.size()) ||
            fchmod(opened.get(), mode) != 0) {
            fail(fresh);
        }
    }
    if (rename(fresh.c_str(), file.c_str()) != 0) {
        fail(file);
    }
}

void removeFile(const char* file) {
    if (unlink(file) != 0 && errno != ENOENT) {
        fail(file);
    }
}

bool isThere(const char* file) {
    struct stat status = {};
    return lstat(file, &status) == 0;
}

} // namespace

bool MaintenanceTool::isForeign() const {
    return !m_set && (isThere(layout::kMaintenanceAnswer) || isThere(layout::kMaintenanceScript));
}

// The script goes last: it counts as long as it is there.
void MaintenanceTool::set(Maintenance maintenance) {
    if (isForeign()) {
        throw Failure(fmt::format("the scratch directory has a {} or {} of its own, which is not replaced",
                                  layout::kMaintenanceAnswer, layout::kMaintenanceScript));
    }
    m_set = true;
    if (maintenance == Maintenance::ToolMissing) {
        replaceFile(layout::kMaintenanceScript, kMissing, 0555);
        return;
    }
    replaceFile(layout::kMaintenanceAnswer, maintenanceAnswer(maintenance), 0444);
    removeFile(layout::kMaintenanceScript);
}

MaintenanceTool::~MaintenanceTool() {
    if (m_set) {
        static_cast<void>(unlink(layout::kMaintenanceAnswer)); // in memory they go anyway
        static_cast<void>(unlink(layout::kMaintenanceScript));
    }
}

} // namespace volad_dev

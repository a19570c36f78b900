#include "host/rehearsal/inside_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include <fmt/format.h>

#include "base/unique_fd.h"
#include "contract/module_interface.h"
#include "contract/places.h"
#include "host/common/failure.h"
#include "host/sandbox/sandbox_guard.h"
#include "host/sandbox/sandbox_layout.h"

namespace volad_dev {
namespace {

namespace fs = std::filesystem;

// The module's children find the standard descriptors only.
void keepToOurselves(int fd) {
    if (fd >= 0 && fcntl(fd, F_SETFD, FD_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "descriptor of the launcher");
    }
}

fs::path registryFile() {
    return fs::path(em::place::kRegistryDirectory) / "registry";
}

} // namespace

void enterInside(std::initializer_list<int> descriptors) {
    assertSandboxInForce();
    if (prctl(PR_SET_DUMPABLE, 0) != 0) {
        throw std::system_error(errno, std::generic_category(), "prctl");
    }
    std::ranges::for_each(descriptors, keepToOurselves);
}

Settings takeSettings(int fd, const std::string& file) {
    if (fd < 0) {
        return {};
    }
    const std::string text = readSettingsText(fmt::format("/proc/self/fd/{}", fd));
    close(fd);
    return parseSettings(text, file);
}

void startRecord() {
    const auto refuse = [](int error) {
        throw Failure(fmt::format("the scratch directory cannot be written: {}",
                                  std::generic_category().message(error)),
                      kExitUsage);
    };
    if (unlink(layout::kCommandRecord) != 0 && errno != ENOENT) {
        refuse(errno);
    }
    const em::UniqueFd record(open(layout::kCommandRecord, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!record.valid()) {
        refuse(errno);
    }
}

void removeRecord() {
    static_cast<void>(unlink(layout::kCommandRecord));
}

void standBesideMessages(const std::string& file) {
    const fs::path directory = fs::temp_directory_path() / "volad-dev-messages";
    fs::create_directory(directory);
    fs::create_symlink(file, directory / em::place::kEventMessages);
    fs::current_path(directory);
}

void configureTrace(const std::optional<unsigned>& level) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): no other thread runs before the module is loaded
    setenv(em::place::kTraceLevelVariable, std::to_string(level.value_or(0)).c_str(), 1);
}

void forgetTraceLevel() {
    unsetenv(em::place::kTraceLevelVariable); // NOLINT(concurrency-mt-unsafe): the module has not started yet
}

void configureProperty(const Settings& settings) {
    if (!settings.powerSwitchNotifications) {
        return;
    }
    const fs::path place = registryFile();
    fs::create_directories(place.parent_path());
    std::ofstream file(place);
    const std::string path =
        fmt::format("HKEY_LOCAL_MACHINE\\{}\\{}", em::place::kDefaultProductKey, em::kModuleName);
    std::string closing = "\n"; // of the root; a line for each key comes in front
    for (size_t begin = 0; begin < path.size();) {
        const size_t end = std::min(path.find('\\', begin), path.size());
        file << '[' << path.substr(begin, end - begin) << "]\n";
        closing += '\n';
        begin = end + 1;
    }
    file << em::place::kPowerSwitchProperty << "=d=" << int{*settings.powerSwitchNotifications} << '\n'
         << closing;
    if (!file.flush()) {
        throw std::runtime_error("the sandbox's registry cannot be written");
    }
}

void removeProperty() {
    std::error_code absent;
    fs::remove(registryFile(), absent);
}

} // namespace volad_dev
